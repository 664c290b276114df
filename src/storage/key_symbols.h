#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tessaly/platform/cstring.h"

// Base64 over the symbols of one row of the compound key's alphabets, without padding.
namespace storage {

// `row` lies in 0 to 255.
std::string EncodeSymbols(std::string_view bytes, int row);
// Nothing for a text with another byte than the symbols, of an impossible length, or with bits set behind the
// last byte: the encoder makes none of these.
std::optional<std::string> DecodeSymbols(std::string_view symbols, int row);

}  // namespace storage
