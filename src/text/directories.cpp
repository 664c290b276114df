#include "tessaly/text/directories.h"

#include <string_view>

#include "platform/file.h"
#include "platform/view_of.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/text/check_directory.h"

using enum text::CheckDirectoryResult;
using enum text::MakeDirectoryResult;
using enum text::RemoveDirectoryResult;

namespace {

constexpr std::string_view forbidden_in_names = ":*?<>|";

using platform::ViewOf;

constexpr bool IsDivider(char c) noexcept { return c == '\\' || c == '/'; }

// The place of the first divider from `at` on, or the size of the path; `at` must be the start of a
// character.
std::size_t NextDivider(std::string_view path, std::size_t at) noexcept {
    while (at < path.size() && !IsDivider(path[at])) at += platform::CharacterSize(path, at);
    return at;
}

std::size_t DriveSize(char const* path) {
    CString drive;
    platform::splitpath(path, &drive, nullptr, nullptr, nullptr);
    return drive.View().size();
}

bool IsSoundName(std::string_view name) noexcept {
    if (!name.empty() && name.back() == ' ') return false;
    for (char c : forbidden_in_names)
        if (platform::Find(name, c) != std::string_view::npos) return false;
    return true;
}

// A lead byte at the end would take the divider that is appended as its second byte.
bool EndsInCutCharacter(std::string_view path) noexcept {
    std::size_t last = 0;
    for (std::size_t at = 0; at < path.size(); at += platform::CharacterSize(path, at)) last = at;
    return !path.empty() && last + 1 == path.size() && platform::IsLeadByte(path[last]);
}

bool IsThere(CString const& directory) { return CheckDirectory(directory) == directory_exists; }

int Removed(bool done) noexcept { return done ? remove_directory_ok : remove_directory_failed; }

// A link to a directory can be removed as a file; a directory cannot, and is emptied first.
int RemoveEntry(CFileFind const& entry) {
    CString path = entry.GetFilePath();
    if (!entry.IsDirectory()) return Removed(platform::RemoveFile(path));
    return platform::RemoveFile(path) ? remove_directory_ok : RemoveDirectoryCompel(path, 1);
}

}  // namespace

int CheckDirectoryName(char const* path) {
    std::string_view const text = ViewOf(path);
    if (text.empty() || text.back() == ' ' || text.find("//") != std::string_view::npos) return 0;
    std::size_t const drive_size = DriveSize(path);
    if (drive_size == 0) return 0;
    for (std::size_t at = drive_size; at < text.size();) {
        std::size_t const end = NextDivider(text, at);
        if (!IsSoundName(text.substr(at, end - at))) return 0;
        at = end + 1;
    }
    return 1;
}

int MakeDirectoryCompel(char const* path) {
    if (!CheckDirectoryName(path)) return make_directory_bad_name;
    std::string_view const text = ViewOf(path);
    // Behind the drive's own root, one level after the other.
    for (std::size_t end = NextDivider(text, DriveSize(path) + 1);; end = NextDivider(text, end + 1)) {
        CString const level(text.substr(0, end));
        // Another process may have made the same directory meanwhile.
        if (!IsThere(level) && !platform::MakeDirectory(level) && !IsThere(level))
            return make_directory_failed;
        if (end >= text.size()) break;
    }
    return IsThere(path) ? make_directory_ok : make_directory_failed;
}

int RemoveDirectoryCompel(char const* path, int removeSelf) {
    if (EndsInCutCharacter(ViewOf(path)) || CheckDirectory(path) != directory_exists)
        return remove_directory_no_entry;
    int result = remove_directory_ok;
    CString pattern(path);
    pattern += "\\*";
    CFileFind find;
    for (bool more = find.FindFile(pattern); more;) {
        more = find.FindNextFile();
        bool const stays = find.IsDirectory() && find.GetFileName().GetAt(0) == '.';
        if (!stays) result = RemoveEntry(find);
    }
    return removeSelf ? Removed(platform::RemoveDirectory(path)) : result;
}

int ClearDirectoryCompel(char const* path) { return RemoveDirectoryCompel(path, 0); }

void PathFix(CString& path) {
    CString const before = path;
    std::string_view const from = before.View();
    char* const start = path.GetBuffer(before.GetLength());
    char* out = start;
    char last_divider = 0;  // the last character written, if it is a divider
    for (std::size_t at = 0; at < from.size();) {
        std::size_t const size = platform::CharacterSize(from, at);
        char const c = from[at];
        if (!IsDivider(c) || c != last_divider) out += from.copy(out, size, at);
        last_divider = IsDivider(c) ? c : '\0';
        at += size;
    }
    path.ReleaseBuffer(static_cast<int>(out - start));
}
