#include "tessaly/platform/path.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <mutex>
#include <system_error>

#include "tessaly/platform/codepage932.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/platform/utf8.h"

namespace platform {
namespace {

constexpr int drive_count = 26;
constexpr int default_drive = 'C' - 'A';
constexpr int no_drive = -1;

// A drive's host folder without a divider at its end, so that "/" becomes empty.
struct Drive {
    bool mapped = false;
    std::string folder;
};
struct Drives {
    std::mutex lock;
    std::array<Drive, drive_count> drives;
};

Drives& TheDrives() {
    static auto* drives = new Drives;  // outlives every static object that may use a path
    return *drives;
}

int DriveOf(char letter) noexcept {
    if (letter >= 'A' && letter <= 'Z') return letter - 'A';
    return letter >= 'a' && letter <= 'z' ? letter - 'a' : no_drive;
}

std::string FolderOf(int drive) {
    Drives& all = TheDrives();
    std::lock_guard const guard(all.lock);
    return all.drives[static_cast<std::size_t>(drive)].folder;
}

bool IsDivider(char c) noexcept { return c == '\\' || c == '/'; }

// An absolute path without empty and "." parts. ".." stays, since the part in front of it may be a link. A
// divider at the end stays too. Empty if there is no current directory.
std::string AbsoluteHostPath(std::string_view path) {
    std::string whole;
    if (path.front() != '/') {
        std::error_code error;
        whole = std::filesystem::current_path(error).string();
        if (error) return {};
        whole += '/';
    }
    whole += path;
    std::string result;
    for (std::size_t at = 0; at < whole.size();) {
        std::size_t const end = std::min(whole.find('/', at), whole.size());
        std::string_view const part = std::string_view(whole).substr(at, end - at);
        if (!part.empty() && part != ".") result.append("/").append(part);
        at = end + 1;
    }
    if (result.empty() || whole.back() == '/') result += '/';
    return result;
}

bool LiesIn(std::string_view path, std::string_view folder) noexcept {
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

struct DriveChoice {
    int drive = no_drive;
    std::size_t folder_size = 0;
};

// The drive whose folder is the longest start of a host path; where there is none, a drive that is not
// mapped, the default drive first.
DriveChoice DriveFor(std::string_view path) {
    Drives& all = TheDrives();
    std::lock_guard const guard(all.lock);
    DriveChoice choice;
    for (int drive = 0; drive < drive_count; ++drive) {
        Drive const& candidate = all.drives[static_cast<std::size_t>(drive)];
        if (!candidate.mapped || !LiesIn(path, candidate.folder)) continue;
        if (choice.drive == no_drive || candidate.folder.size() > choice.folder_size)
            choice = {drive, candidate.folder.size()};
    }
    for (int step = 0; step < drive_count && choice.drive == no_drive; ++step) {
        int const drive = (default_drive + step) % drive_count;
        if (!all.drives[static_cast<std::size_t>(drive)].mapped) choice.drive = drive;
    }
    return choice;
}

void AppendHostNames(std::string& host, std::string_view path) {
    for (std::size_t at = 0; at < path.size();) {
        std::size_t const size = CharacterSize(path, at);
        auto const first = static_cast<unsigned char>(path[at]);
        unsigned const code =
            size == 1 ? first : unsigned{first} << 8 | static_cast<unsigned char>(path[at + 1]);
        std::uint16_t const unit = UnicodeOf(static_cast<std::uint16_t>(code));
        if (IsDivider(path[at])) {
            host += '/';
        } else if (unit) {
            char utf8[3];
            host.append(utf8, static_cast<std::size_t>(PutUtf8(unit, utf8) - utf8));
        } else {
            host.append(path, at, size);
        }
        at += size;
    }
}

void AppendLibraryNames(std::string& library, std::string_view path) {
    for (std::size_t at = 0; at < path.size();) {
        char const byte = path[at];
        char32_t const character = TakeUtf8(path, at);
        std::uint16_t const code = character <= 0xFFFF ? Cp932Of(static_cast<std::uint16_t>(character)) : 0;
        if (byte == '/')
            library += '\\';
        else if (character == not_a_character)
            library += byte;
        else if (code > 0xFF)
            library.append({static_cast<char>(code >> 8), static_cast<char>(code)});
        else
            library += code ? static_cast<char>(code) : '?';
    }
}

}  // namespace

void MapDrive(char letter, std::string_view host_folder) {
    int const drive = DriveOf(letter);
    if (drive == no_drive) return;
    Drive made;
    if (!host_folder.empty()) made.folder = AbsoluteHostPath(host_folder);
    made.mapped = !made.folder.empty();
    if (made.folder.ends_with('/')) made.folder.pop_back();
    Drives& all = TheDrives();
    std::lock_guard const guard(all.lock);
    all.drives[static_cast<std::size_t>(drive)] = std::move(made);
}

std::string HostPath(std::string_view library_path) {
    if (library_path.empty()) return {};
    int drive = default_drive;
    if (library_path.size() >= 2 && library_path[1] == ':' && DriveOf(library_path[0]) != no_drive) {
        drive = DriveOf(library_path[0]);
        library_path.remove_prefix(2);
    }
    std::string host = FolderOf(drive);
    if (library_path.empty() || !IsDivider(library_path.front())) host += '/';
    host.reserve(host.size() + library_path.size() * 2);
    AppendHostNames(host, library_path);
    return host;
}

CString LibraryPath(std::string_view host_path, bool* exact) {
    if (exact) *exact = host_path.empty();
    if (host_path.empty()) return {};
    std::string absolute = AbsoluteHostPath(host_path);
    DriveChoice const choice = DriveFor(absolute);
    if (absolute.empty() || choice.drive == no_drive) return {};
    if (absolute.size() == choice.folder_size) absolute += '/';  // a drive's root is never written without it
    std::string library = {static_cast<char>('A' + choice.drive), ':'};
    AppendLibraryNames(library, std::string_view(absolute).substr(choice.folder_size));
    // Several characters may share one code, and bytes that are no UTF-8 may become one by chance: only the
    // way back shows whether the path is exact.
    if (exact) *exact = HostPath(library) == absolute;
    return CString(library);
}

}  // namespace platform
