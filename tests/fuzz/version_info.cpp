// Version information of program files: any bytes give an item or none, and always the same.

#include "platform/version_info.h"

#include "fuzz_target.h"
#include "memory_file.h"

void FuzzOne(std::string_view bytes) {
    fuzz::MemoryFile const file(bytes);
    CString const path = file.Path();
    for (char const* const item : {"FileVersion", "InternalName", ""}) {
        CString value("old"), again("old");
        bool const found = platform::VersionItem(path, item, value);
        fuzz::Check(platform::VersionItem(path, item, again) == found && again == value, "always the same");
        fuzz::Check(found || value == "old", "without an item the value stays");
        fuzz::Check(!found || static_cast<std::size_t>(value.GetLength()) <= bytes.size(),
                    "the value lies in the file");
    }
}
