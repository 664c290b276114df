#include "tessaly/text/check_directory.h"

#include "platform/file.h"

using enum text::CheckDirectoryResult;

int CheckDirectory(char const* path) {
    return path && *path && platform::IsDirectory(path) ? directory_exists : directory_missing;
}
