#include "text/directories.h"

#include <string_view>
#include <vector>

#include "platform/file.h"
#include "platform/mbcs.h"
#include "storage/check_directory.h"

namespace {

constexpr bool IsDivider(char c) noexcept { return c == '\\' || c == '/'; }
constexpr int character_directory_exists = 0;

}  // namespace
