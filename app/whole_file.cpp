#include "whole_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "failure.h"

namespace app {
namespace {

bool Sync(std::string const& path, int flags) {
    int const descriptor = open(path.c_str(), flags | O_CLOEXEC);
    if (descriptor < 0) return false;
    bool const done = fsync(descriptor) == 0;
    return close(descriptor) == 0 && done;
}

bool Replace(std::string const& target, std::string const& new_file,
             std::function<bool(std::string const& new_file)> const& write) {
    if (write(new_file) && Sync(new_file, O_RDONLY) && std::rename(new_file.c_str(), target.c_str()) == 0) {
        Sync(std::filesystem::path(target).parent_path().string(), O_RDONLY | O_DIRECTORY);
        return true;
    }
    std::error_code ignored;
    std::filesystem::remove(new_file, ignored);
    return false;
}

}  // namespace

std::string ReadWholeFile(std::string const& file, std::string const& what) {
    std::ifstream in(file, std::ios::binary);
    if (!in || std::filesystem::is_directory(file)) throw Failure(what + "を開けません: " + file);
    std::string content{std::istreambuf_iterator<char>(in), {}};
    if (in.bad()) throw Failure(what + "を読めません: " + file);
    return content;
}

bool ReplaceFile(std::string const& target, std::function<bool(std::string const& new_file)> const& write) {
    std::string new_file = target + ".new";
    for (int number = 1; std::filesystem::exists(std::filesystem::symlink_status(new_file)); ++number)
        new_file = target + ".new" + std::to_string(number);
    return Replace(target, new_file, write);
}

bool ReplaceOwnFile(std::string const& target,
                    std::function<bool(std::string const& new_file)> const& write) {
    return Replace(target, target + ".new", write);
}

bool ReplaceFile(std::string const& target, std::string_view content) {
    return ReplaceFile(target, [&](std::string const& file) {
        std::ofstream out(file, std::ios::binary);
        out << content;
        out.close();
        return static_cast<bool>(out);
    });
}

}  // namespace app
