#include "postbox/mail_folder.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <utility>

#include "postbox/error.h"

namespace fs = std::filesystem;

namespace postbox {

MailFolder::MailFolder(std::string path) : path_(std::move(path)) {
    std::error_code error;
    fs::create_directories(path_, error);
    if (error || !fs::is_directory(path_)) throw Error("ポストボックスのディレクトリを作れません: " + path_);
    for (auto const& entry : fs::directory_iterator(path_)) {
        std::string const name = entry.path().stem().string();
        unsigned long number = 0;
        if (std::from_chars(name.data(), name.data() + name.size(), number).ec == std::errc())
            next_ = std::max(next_, number + 1);
    }
}

bool MailFolder::Store(std::string_view mail) {
    unsigned long number = 0;
    {
        std::lock_guard guard(lock_);
        number = next_++;
    }
    char name[32];
    std::snprintf(name, sizeof name, "/%06lu.eml", number);
    std::string const target = path_ + name;
    std::string const part = target + ".part";
    std::error_code error;
    {
        std::ofstream file(part, std::ios::binary | std::ios::trunc);
        file << mail;
        file.close();
        if (file) fs::rename(part, target, error);
        if (file && !error) return true;
    }
    fs::remove(part, error);
    return false;
}

}  // namespace postbox
