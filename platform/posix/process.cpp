#include "tessaly/platform/process.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "tessaly/platform/codepage932.h"
#include "tessaly/platform/mbcs.h"
#include "tessaly/platform/path.h"

namespace platform {
namespace {

// The host folder set instead of the library's own; empty for none.
std::string& DirectoryInPlace() {
    static std::string folder;
    return folder;
}

std::string RealPath(char const* path) {
    char result[PATH_MAX];
    return realpath(path, result) ? result : std::string();
}

// The dynamic linker lists the program itself under an empty name.
std::string FileOfModule(char const* linked_name) {
    return RealPath(linked_name && *linked_name ? linked_name : "/proc/self/exe");
}

std::string OwnFile() {
    Dl_info module{};
    link_map* map = nullptr;
    bool const found = dladdr1(reinterpret_cast<void*>(&OwnFile), &module, reinterpret_cast<void**>(&map),
                               RTLD_DL_LINKMAP) != 0;
    return FileOfModule(found && map ? map->l_name : nullptr);
}

// Determined once, since a relative name would lead elsewhere after a change of the current directory.
std::string const& OwnPath() {
    static std::string const path = OwnFile();
    return path;
}

std::string_view LastName(std::string_view host_path) { return host_path.substr(host_path.rfind('/') + 1); }

bool IsPath(std::string_view library_name) {
    return Find(library_name, '\\') != std::string_view::npos ||
           Find(library_name, '/') != std::string_view::npos;
}

std::vector<std::string> LinkedNames() {
    std::vector<std::string> names;
    auto const add = [](dl_phdr_info* module, std::size_t, void* list) {
        static_cast<std::vector<std::string>*>(list)->emplace_back(module->dlpi_name);
        return 0;
    };
    dl_iterate_phdr(add, &names);
    return names;
}

// A library has the name under which it was linked (libx.so.5) and that of its file (libx.so.5.2.0).
std::string FindModule(std::string_view module) {
    bool const by_path = IsPath(module);
    std::string const wanted = by_path ? RealPath(HostPath(module).c_str()) : Utf8FromCp932(module);
    if (wanted.empty()) return {};
    for (std::string const& linked_name : LinkedNames()) {
        std::string file = FileOfModule(linked_name.c_str());
        if (by_path ? file == wanted : LastName(file) == wanted || LastName(linked_name) == wanted)
            return file;
    }
    return {};
}

CString WithClosingDivider(CString directory) {
    if (directory.ReverseFind('\\') != directory.GetLength() - 1) directory += '\\';
    return directory;
}

}  // namespace

std::uint32_t ProcessId() noexcept { return static_cast<std::uint32_t>(getpid()); }

static std::atomic<bool> skip_sleeps = false;

void SkipSleeps(bool skip) noexcept { skip_sleeps = skip; }

void SleepMilliseconds(unsigned milliseconds) {
    if (skip_sleeps) return;
    timespec left{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) continue;
}

CString ModulePath(char const* module) {
    std::string const file = module ? FindModule(module) : OwnPath();
    return file.empty() ? CString() : LibraryPath(file);
}

CString ModuleDirectory() {
    if (!DirectoryInPlace().empty()) return WithClosingDivider(LibraryPath(DirectoryInPlace()));
    std::string const& file = OwnPath();
    if (file.empty()) return {};
    return WithClosingDivider(LibraryPath(std::string_view(file).substr(0, file.rfind('/') + 1)));
}

void SetModuleDirectory(std::string_view host_folder) { DirectoryInPlace() = host_folder; }

}  // namespace platform
