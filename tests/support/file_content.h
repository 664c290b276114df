#pragma once

#include <string>
#include <string_view>

#include "platform/file.h"
#include "storage/key_tables.h"
#include "tessaly/storage/substitution.h"

// The bytes of a file, or "(no file)".
inline std::string ContentOf(CString const& path) {
    std::string content;
    return platform::ReadWholeFile(path, content) ? content : "(no file)";
}

// Writes plain records as a table file, scrambled with `key` (null: the default table).
inline bool WriteTable(CString const& path, std::string plain, char const* key = nullptr) {
    unsigned char const* table =
        key ? storage::EncodeTable(GetKeyNumber(key)) : storage::DefaultEncodeTable();
    storage::Substitute(plain.data(), plain.size(), table);
    return platform::WriteWholeFile(path, plain);
}

// The records of a table file in plain form.
inline std::string TableContentOf(CString const& path, char const* key = nullptr) {
    std::string content = ContentOf(path);
    unsigned char const* table =
        key ? storage::DecodeTable(GetKeyNumber(key)) : storage::DefaultDecodeTable();
    storage::Substitute(content.data(), content.size(), table);
    return content;
}
