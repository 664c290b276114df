#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/base/file_sum.h"

// The file of a backup of a whole environment: a tar archive with a list of what it holds as its first entry
// and a closing one. docs/file-formats.md has its form.
namespace engine {

inline constexpr char const* backup_env_file = "environment";  // the name of the environment file in it
inline constexpr std::string_view backup_data = "data/";       // before the path of a data file

struct BackupManifest {
    std::string made, version;
    std::vector<int> sending;  // mails that were being sent
    std::vector<FileSum> files;
    bool operator==(BackupManifest const&) const = default;
};

// Whether a path below the data directory belongs into a backup: no lock, log, copy or work file.
bool BelongsIntoBackup(std::string_view path);

// Whether a file is a tar archive, by its first bytes.
bool IsArchive(std::string const& file);

// Gives the content of a file of the list, piece by piece.
using Content = std::function<void(FileSum const& file, std::function<void(std::string_view)> const& take)>;
// Writes the archive. Throws Failure: not_written, or what `content` throws; operation_failed when a content
// is not what the list says.
void WriteArchive(std::string const& archive, BackupManifest const& manifest, Content const& content);

// Reads the archive to its end and checks everything in it. Each file goes to the host path that `place`
// gives for its name; empty: it is only checked. Throws Failure (unsuitable_file) for a file that is no such
// archive or not whole, that names a place outside the environment, or holds anything but files.
BackupManifest ReadArchive(std::string const& archive,
                           std::function<std::string(std::string const& name)> const& place);

}  // namespace engine
