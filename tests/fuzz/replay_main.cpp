// Runs a target once for each file of the folders, or for the files, that are named.

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz_target.h"

namespace {

std::vector<std::filesystem::path> FilesOf(std::filesystem::path const& path) {
    if (!std::filesystem::is_directory(path)) return {path};
    std::vector<std::filesystem::path> files;
    for (auto const& entry : std::filesystem::directory_iterator(path))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

int main(int count, char** arguments) {
    std::size_t runs = 0;
    for (int i = 1; i < count; ++i) {
        for (std::filesystem::path const& file : FilesOf(arguments[i])) {
            std::ifstream stream(file, std::ios::binary);
            std::string const content{std::istreambuf_iterator<char>(stream), {}};
            std::fprintf(stderr, "%s: %zu bytes\n", file.c_str(), content.size());
            if (!stream) return EXIT_FAILURE;
            // A block of exact size, for the sanitizer.
            FuzzOne(
                std::string_view(std::vector<char>(content.begin(), content.end()).data(), content.size()));
            ++runs;
        }
    }
    return runs > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
