#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tessaly/platform/export.h"

// Code page 932 and Unicode, by the system's own conversion (iconv's CP932), put into tables once.
namespace platform {

// The UTF-16 unit of a single byte (0x00-0xFF) or a double-byte character (lead byte in the high byte); 0 for
// a code without one (and for 0).
TESSALY_API std::uint16_t UnicodeOf(std::uint16_t code) noexcept;
// The code (one or two bytes, lead byte high) of a UTF-16 unit; 0 for a unit without one (and for 0).
TESSALY_API std::uint16_t Cp932Of(std::uint16_t unit) noexcept;

// Convert whole texts, for file names and messages. A byte that makes no character, and a character without a
// form on the other side, becomes "?"; `exact`, unless null, then becomes false (it is set true at the
// start).
TESSALY_API std::string Utf8FromCp932(std::string_view text, bool* exact = nullptr);
TESSALY_API std::string Cp932FromUtf8(std::string_view text, bool* exact = nullptr);

}  // namespace platform
