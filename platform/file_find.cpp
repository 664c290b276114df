#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>

#include "platform/file.h"
#include "platform/view_of.h"
#include "tessaly/platform/codepage932.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/platform/path.h"

namespace {

constexpr char LowerOf(char c) noexcept {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

std::string_view CharacterAt(std::string_view text, std::size_t at) noexcept {
    return text.substr(at, platform::CharacterSize(text, at));
}

// "?" matches any one character, and a letter matches itself in either case.
bool MatchesCharacter(std::string_view wanted, std::string_view character) noexcept {
    if (wanted == "?") return true;
    return wanted == character ||
           (wanted.size() == 1 && character.size() == 1 && LowerOf(wanted[0]) == LowerOf(character[0]));
}

// Goes back to the last "*" only, so that the time is at most the product of both lengths.
bool Matches(std::string_view name, std::string_view pattern) noexcept {
    std::size_t at = 0, in_pattern = 0;
    std::size_t behind_star = std::string_view::npos, star_ends = 0;
    while (at < name.size()) {
        if (in_pattern < pattern.size() && pattern[in_pattern] == '*') {
            behind_star = ++in_pattern;
            star_ends = at;
        } else if (in_pattern < pattern.size() &&
                   MatchesCharacter(CharacterAt(pattern, in_pattern), CharacterAt(name, at))) {
            in_pattern += platform::CharacterSize(pattern, in_pattern);
            at += platform::CharacterSize(name, at);
        } else if (behind_star != std::string_view::npos) {
            star_ends += platform::CharacterSize(name, star_ends);
            at = star_ends;
            in_pattern = behind_star;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', in_pattern) == std::string_view::npos;
}

// The name of an entry as the library writes it; empty for an entry that no library path leads to.
std::string LibraryName(std::string const& entry) {
    bool exact = true;
    std::string name = platform::Cp932FromUtf8(entry, &exact);
    if (!exact) name = entry;
    return platform::HostPath('\\' + name).ends_with('/' + entry) ? name : std::string();
}

// Bytes of a pattern up to and with its last divider, or with the colon of a drive.
std::size_t DirectoryLength(std::string_view pattern) noexcept {
    std::size_t length = pattern.size() > 1 && pattern[1] == ':' ? 2 : 0;
    for (char const divider : {'\\', '/'}) {
        std::size_t const at = platform::ReverseFind(pattern, divider);
        if (at != std::string_view::npos) length = std::max(length, at + 1);
    }
    return length;
}

std::vector<CString> MatchingNames(std::string_view directory, std::string_view pattern) {
    std::vector<CString> names;
    std::error_code failure;
    std::filesystem::directory_iterator entry(platform::HostPath(directory), failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        std::string const name = LibraryName(entry->path().filename().string());
        if (!name.empty() && Matches(name, pattern)) names.emplace_back(std::string_view(name));
    }
    std::sort(names.begin(), names.end(),
              [](CString const& a, CString const& b) { return a.View() < b.View(); });
    return names;
}

}  // namespace

bool CFileFind::FindFile(char const* pattern) {
    Close();
    std::string_view const whole = platform::ViewOf(pattern);
    std::size_t const directory_length = DirectoryLength(whole);
    std::string_view wanted = whole.substr(directory_length);
    if (wanted.empty()) return false;
    if (wanted == "*.*") wanted = "*";  // also names without a dot
    directory_ = whole.substr(0, directory_length);
    names_ = MatchingNames(directory_.IsEmpty() ? "\\" : directory_.View(), wanted);
    return !names_.empty();
}

bool CFileFind::FindNextFile() {
    if (next_ < names_.size()) ++next_;
    return next_ < names_.size();
}

CString CFileFind::GetFileName() const { return next_ ? names_[next_ - 1] : CString(); }

CString CFileFind::GetFilePath() const { return next_ ? directory_ + names_[next_ - 1] : CString(); }

CString CFileFind::GetFileTitle() const {
    CString const name = GetFileName();
    int const dot = name.ReverseFind('.');
    return dot < 0 ? name : name.Left(dot);
}

bool CFileFind::IsDirectory() const { return next_ && platform::IsDirectory(GetFilePath()); }

std::int64_t CFileFind::GetLength() const {
    return next_ ? std::max<std::int64_t>(platform::FileSize(GetFilePath()), 0) : 0;
}

void CFileFind::Close() {
    directory_.Empty();
    names_.clear();
    next_ = 0;
}
