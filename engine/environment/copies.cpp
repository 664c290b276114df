#include "engine/environment/copies.h"

#include <algorithm>
#include <filesystem>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr char const* list_name = "/list";
constexpr char const* after_name = "/after";
constexpr char const* first_line = "tessaly-undo 1";
constexpr std::string_view what_word = "what ", when_word = "when ", path_word = "path ", none_word = "none ";
constexpr std::string_view kinds[] = {"none", "file", "folder"};  // by CopiedPath::Kind

std::optional<std::vector<std::string>> LinesOf(std::string const& file) {
    try {
        return Unsealed(ReadWholeFile(file, "一覧"));
    } catch (Failure const&) {
        return {};
    }
}

void WriteLines(std::string const& file, std::string const& lines) {
    if (!ReplaceFile(file, Sealed(lines))) throw Failure(Failure::not_written, "書き込めません: " + file);
}

std::string After(std::string const& line, std::string_view word) {
    return line.starts_with(word) ? line.substr(word.size()) : std::string();
}

// "path file DB/database.dat"
std::optional<CopiedPath> PathFromLine(std::string const& line) {
    std::string const rest = After(line, path_word);
    for (std::size_t kind = 0; kind < std::size(kinds); ++kind)
        if (std::optional<std::string> path = NameFromLine(After(rest, std::string(kinds[kind]) + " ")))
            return CopiedPath{*std::move(path), static_cast<CopiedPath::Kind>(kind), {}};
    return {};
}

bool IsCopyOf(std::size_t index, std::string_view name) {
    std::string const number = std::to_string(index);
    return name == number || name.starts_with(number + "/");
}

void Describe(std::string const& folder, std::size_t index, CopiedPath& copied) {
    std::string const name = std::to_string(index), copy = folder + "/" + name;
    copied.kind = fs::is_directory(copy) ? CopiedPath::folder
                  : fs::exists(copy)     ? CopiedPath::file
                                         : CopiedPath::none;
    if (copied.kind == CopiedPath::file) copied.files = {SumOf(copy, name)};
    if (copied.kind != CopiedPath::folder) return;
    for (FileSum& sum : copied.files = SumsOf(copy)) sum.name = name + "/" + sum.name;
}

}  // namespace

void MakeCopies(std::string const& folder, std::string const& data_directory, Copies copies) {
    MakeFolder(folder);
    for (std::size_t i = 0; i < copies.paths.size(); ++i)
        if (std::string const from = data_directory + "/" + copies.paths[i].path; fs::exists(from))
            CopyContent(from, folder + "/" + std::to_string(i));
    ListCopies(folder, copies);
}

void ListCopies(std::string const& folder, Copies& copies) {
    std::string lines = std::string(first_line) + "\n" + std::string(what_word) + OnOneLine(copies.what) +
                        "\n" + std::string(when_word) + copies.when + "\n";
    for (std::size_t i = 0; i < copies.paths.size(); ++i) {
        CopiedPath& copied = copies.paths[i];
        Describe(folder, i, copied);
        ((((lines += path_word) += kinds[copied.kind]) += " ") += NameInLine(copied.path)) += "\n";
        for (FileSum const& sum : copied.files) (lines += LineOf(sum)) += "\n";
    }
    WriteLines(folder + list_name, lines);
}

std::optional<Copies> ReadCopies(std::string const& folder) {
    std::optional<std::vector<std::string>> const lines = LinesOf(folder + list_name);
    if (!lines || lines->size() < 3 || lines->front() != first_line) return {};
    Copies copies{After((*lines)[1], what_word), After((*lines)[2], when_word), {}};
    for (auto line = lines->begin() + 3; line != lines->end(); ++line) {
        if (std::optional<CopiedPath> path = PathFromLine(*line)) {
            copies.paths.push_back(*std::move(path));
            continue;
        }
        std::optional<FileSum> sum = SumFromLine(*line);
        if (!sum || copies.paths.empty() || !IsCopyOf(copies.paths.size() - 1, sum->name)) return {};
        copies.paths.back().files.push_back(*std::move(sum));
    }
    return copies;
}

void WriteAfter(std::string const& folder, std::string const& data_directory) {
    std::optional<Copies> const copies = ReadCopies(folder);
    if (!copies) throw Failure(Failure::damaged_file, "控えの一覧を読めません: " + folder + list_name);
    std::string lines;
    for (CopiedPath const& copied : copies->paths) {
        std::string const file = data_directory + "/" + copied.path;
        if (fs::exists(file))
            (lines += LineOf(SumOf(file, copied.path))) += "\n";
        else
            ((lines += none_word) += NameInLine(copied.path)) += "\n";
    }
    WriteLines(folder + after_name, lines);
}

std::optional<std::string> ChangedSince(std::string const& folder, std::string const& data_directory) {
    auto const lines = LinesOf(folder + after_name);
    if (!lines) throw Failure(Failure::damaged_file, "控えの一覧を読めません: " + folder + after_name);
    for (std::string const& line : *lines) {
        if (std::optional<FileSum> const sum = SumFromLine(line)) {
            if (!Holds(data_directory + "/" + sum->name, *sum)) return sum->name;
        } else if (std::optional<std::string> const gone = NameFromLine(After(line, none_word));
                   gone && fs::exists(data_directory + "/" + *gone)) {
            return gone;
        }
    }
    return {};
}

}  // namespace engine
