#pragma once

#include <string>
#include <string_view>

#include "engine/base/charset.h"
#include "tessaly/mime.h"

// The texts of received mails of any program, in UTF-8.
namespace engine {

// "%41" as "A" (RFC 3986 2.1); a "%" without two digits stays.
std::string PercentDecoded(std::string_view text);
// The way back: letters, digits and the signs of `unescaped` stay.
std::string PercentEncoded(std::string_view text, std::string_view unescaped);

// A header value, its encoded words (RFC 2047) decoded. A word of an unknown charset stays.
std::string DecodedHeader(std::string_view value);

// The file name that a part gives by its Content-Disposition or Content-Type: a parameter as it stands or in
// encoded words, else one in the extended form of RFC 2231, in pieces too. Empty for none.
std::string NameOfPart(std::string_view disposition, std::string_view type);

}  // namespace engine
