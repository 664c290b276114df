#include "engine/environment/access.h"

#include <filesystem>
#include <fstream>

#include "engine/base/failure.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

// Never changes: every environment that was made without a key file of its own opens with it.
constexpr char const* built_in_key = "tQ7#vL2p-Zk94-mRx8-Tessaly-5-Nw3c-yB6h";

}  // namespace

std::string FirstLineOf(std::string const& host_path, std::string_view what) {
    std::ifstream file(host_path, std::ios::binary);
    std::string line;
    if (!file || fs::is_directory(host_path) || (!std::getline(file, line) && line.empty()))
        throw Failure(Failure::unreadable_file, std::string(what) + "を読めません: " + host_path,
                      {.file = host_path});
    while (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

std::string DataDirectoryOf(std::string const& env_file) {
    fs::path const file = fs::absolute(env_file);
    return (file.parent_path() / file.stem()).string();
}

std::string ApplicationKey(Access const& access) {
    if (access.key_file.empty()) return built_in_key;
    std::string key = FirstLineOf(access.key_file, "鍵ファイル");
    if (key.empty()) throw Failure(Failure::unsuitable_file, "鍵ファイルの1行目が空です: " + access.key_file);
    return key;
}

FrontEnd& FrontOf(Access const& access) {
    static FrontEnd silent;
    return access.front ? *access.front : silent;
}

}  // namespace engine
