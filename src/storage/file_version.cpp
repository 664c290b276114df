#include "tessaly/storage/file_version.h"

#include <cstring>

#include "platform/version_info.h"
#include "tessaly/platform/process.h"

namespace {

constexpr char file_version[] = "FileVersion";
constexpr char internal_name[] = "InternalName";

int CopyItem(char const* path, char const* item, char* out, unsigned long size) {
    CString value;
    if (!path || !item || !out || !platform::VersionItem(path, item, value)) return 0;
    auto const bytes = static_cast<unsigned long>(value.GetLength()) + 1;
    if (bytes > size) return 0;
    std::memcpy(out, value, bytes);
    return 1;
}

int CopyModuleItem(char const* module, char const* item, char* out, unsigned long size) {
    CString const path = platform::ModulePath(module);
    return path.IsEmpty() ? 0 : CopyItem(path, item, out, size);
}

}  // namespace

int GetFileVerInfo(char const* path, char const* item, char* out, unsigned long int size) {
    return CopyItem(path, item, out, size);
}

int GetModuleFileVerInfo(char const* module, char* item, char* out, unsigned long int size) {
    return CopyModuleItem(module, item, out, size);
}

int GetFileVersion(char const* path, char* out, unsigned long int size) {
    return CopyItem(path, file_version, out, size);
}

int GetModuleFileVersion(char const* module, char* out, unsigned long int size) {
    return CopyModuleItem(module, file_version, out, size);
}

int GetFileInternalName(char const* path, char* out, unsigned long int size) {
    return CopyItem(path, internal_name, out, size);
}

int GetModuleFileInternalName(char const* module, char* out, unsigned long int size) {
    return CopyModuleItem(module, internal_name, out, size);
}
