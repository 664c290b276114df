#include "engine/base/file_sum.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>

#include "engine/base/failure.h"
#include "engine/base/sha256.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr std::size_t block_size = 256 * 1024;
constexpr std::string_view file_word = "file ", end_word = "end ";

bool NeedsEscape(char c) { return static_cast<unsigned char>(c) < 0x20 || c == '%' || c == 0x7F; }

std::optional<FileSum> Read(std::string const& path, std::string const& name) {
    std::ifstream file(path, std::ios::binary);
    if (!file || fs::is_directory(path)) return {};
    FileSum sum{name, 0, {}};
    Sha256 sha;
    std::vector<char> block(block_size);
    do {
        file.read(block.data(), static_cast<std::streamsize>(block.size()));
        auto const count = static_cast<std::size_t>(file.gcount());
        sha.Add({block.data(), count});
        sum.bytes += count;
    } while (file);
    if (file.bad()) return {};
    sum.sha256 = sha.Digits();
    return sum;
}

// Up to a blank, which is taken away too.
std::string_view TakeWord(std::string_view& line) {
    std::size_t const blank = std::min(line.find(' '), line.size());
    std::string_view const word = line.substr(0, blank);
    line.remove_prefix(std::min(blank + 1, line.size()));
    return word;
}

}  // namespace

FileSum SumOf(std::string const& path, std::string const& name) {
    std::optional<FileSum> sum = Read(path, name);
    if (!sum) throw Failure(Failure::unreadable_file, "ファイルを読めません: " + path, {.file = path});
    return *std::move(sum);
}

std::vector<FileSum> SumsOf(std::string const& folder) {
    std::vector<FileSum> sums;
    std::error_code error;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::follow_directory_symlink, error);
    for (fs::recursive_directory_iterator const end; !error && entry != end; entry.increment(error))
        if (entry->is_regular_file())
            sums.push_back(
                SumOf(entry->path().string(), entry->path().lexically_relative(folder).generic_string()));
    if (error)
        throw Failure(Failure::unreadable_file,
                      "ディレクトリを読めません: " + folder + " (" + error.message() + ")");
    std::sort(sums.begin(), sums.end(), [](FileSum const& a, FileSum const& b) { return a.name < b.name; });
    return sums;
}

bool Holds(std::string const& path, FileSum const& sum) {
    std::error_code error;
    return fs::file_size(path, error) == sum.bytes && !error && Read(path, sum.name) == sum;
}

std::string NameInLine(std::string_view name) {
    std::string text;
    for (char const c : name) {
        if (!NeedsEscape(c)) {
            text += c;
            continue;
        }
        auto const byte = static_cast<unsigned char>(c);
        ((text += '%') += "0123456789ABCDEF"[byte >> 4]) += "0123456789ABCDEF"[byte & 15];
    }
    return text;
}

std::optional<std::string> NameFromLine(std::string_view text) {
    std::string name;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            name += text[at];
            continue;
        }
        if (at + 2 >= text.size()) return {};
        unsigned byte = 0;
        auto const [end, error] = std::from_chars(text.data() + at + 1, text.data() + at + 3, byte, 16);
        if (error != std::errc() || end != text.data() + at + 3) return {};
        name += static_cast<char>(byte);
        at += 2;
    }
    if (name.empty() || NameInLine(name) != text) return {};
    return name;
}

std::string LineOf(FileSum const& sum) {
    return std::string(file_word) + sum.sha256 + " " + std::to_string(sum.bytes) + " " + NameInLine(sum.name);
}

std::optional<FileSum> SumFromLine(std::string_view line) {
    if (!line.starts_with(file_word)) return {};
    line.remove_prefix(file_word.size());
    FileSum sum;
    sum.sha256 = TakeWord(line);
    std::string_view const bytes = TakeWord(line);
    auto const [end, error] = std::from_chars(bytes.data(), bytes.data() + bytes.size(), sum.bytes);
    std::optional<std::string> name = NameFromLine(line);
    if (sum.sha256.size() != sha256_digits || error != std::errc() || end != bytes.data() + bytes.size() ||
        !name)
        return {};
    sum.name = *std::move(name);
    return sum;
}

std::string Sealed(std::string_view lines) {
    return std::string(lines) + std::string(end_word) + Sha256Of(lines) + "\n";
}

std::optional<std::vector<std::string>> Unsealed(std::string_view text) {
    std::size_t const last = text.size() < 2 ? text.npos : text.rfind('\n', text.size() - 2);
    if (last == text.npos || Sealed(text.substr(0, last + 1)) != text) return {};
    std::vector<std::string> lines;
    for (std::size_t at = 0; at <= last;) {
        std::size_t const end = text.find('\n', at);
        lines.emplace_back(text.substr(at, end - at));
        at = end + 1;
    }
    return lines;
}

}  // namespace engine
