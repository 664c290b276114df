#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Lists of files that say what each held, for copies that count only when they are whole.
namespace engine {

struct FileSum {
    std::string name;  // a relative path, divided by "/"
    std::uint64_t bytes = 0;
    std::string sha256;  // hexadecimal digits
    bool operator==(FileSum const&) const = default;
};

// Of a file, which gets that name in the list. Throws Failure when it cannot be read.
FileSum SumOf(std::string const& path, std::string const& name);
// Of every regular file in a folder and below, by path from there, sorted by it.
std::vector<FileSum> SumsOf(std::string const& folder);
// Whether the file at a path holds what the sum says. false for one that cannot be read.
bool Holds(std::string const& path, FileSum const& sum);

// A name in a line: control characters and "%" stand as "%0A".
std::string NameInLine(std::string_view name);
// The reverse; none for a name that no line holds.
std::optional<std::string> NameFromLine(std::string_view text);
// "file <sha256> <bytes> <name>", and back; none for a line of another form.
std::string LineOf(FileSum const& sum);
std::optional<FileSum> SumFromLine(std::string_view line);

// Lines with a last one, "end <sha256 of those before>", and back; none for a text that is not whole.
std::string Sealed(std::string_view lines);
std::optional<std::vector<std::string>> Unsealed(std::string_view text);

}  // namespace engine
