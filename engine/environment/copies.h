#pragma once

#include <optional>
#include <string>
#include <vector>

#include "engine/base/file_sum.h"

// Copies of files of an environment in a folder, with a list that says what each was: those of a change that
// is on, and those that are kept to undo one later. docs/file-formats.md has their form.
namespace engine {

struct CopiedPath {
    enum Kind { none, file, folder };  // what lay there
    std::string path;  // below the data directory; its copy is named after its place in the list
    Kind kind = none;
    std::vector<FileSum> files;  // of the copy, names from the folder of the copies
};

struct Copies {
    std::string what, when;
    std::vector<CopiedPath> paths;
};

// Makes the folder with the copies and their list, all of it on the disk but the folder's own name. Throws
// Failure.
void MakeCopies(std::string const& folder, std::string const& data_directory, Copies copies);
// Writes the list by the copies that lie in the folder, and fills in what it says of them.
void ListCopies(std::string const& folder, Copies& copies);
// The list of such a folder; none where it cannot be read as it was written.
std::optional<Copies> ReadCopies(std::string const& folder);

// Beside the list: what the files of the list held when the change was complete.
void WriteAfter(std::string const& folder, std::string const& data_directory);
// The first of those files that holds something else now; none when there is none. Throws Failure
// (damaged_file).
std::optional<std::string> ChangedSince(std::string const& folder, std::string const& data_directory);

}  // namespace engine
