#include "platform/version_info.h"

#include <algorithm>

#include "platform/file.h"
#include "platform/version_readers.h"

namespace platform {

std::string ReadAt(CFile& file, std::uint64_t offset, std::size_t size) {
    auto const length = static_cast<std::uint64_t>(std::max<std::int64_t>(file.GetLength(), 0));
    if (offset >= length) return {};
    std::string bytes(static_cast<std::size_t>(std::min<std::uint64_t>(size, length - offset)), '\0');
    file.Seek(static_cast<std::int64_t>(offset), CFile::begin);
    bytes.resize(file.Read(bytes.data(), static_cast<unsigned>(bytes.size())));
    return bytes;
}

bool VersionItem(char const* path, char const* item, CString& value) {
    CFile file;
    if (!item || !file.Open(path, CFile::modeRead)) return false;
    std::optional<std::string> found = ItemOfElf(file, item);
    if (!found) found = ItemOfPortableExecutable(file, item);
    if (!found) return false;
    value = std::string_view(*found);
    return true;
}

}  // namespace platform
