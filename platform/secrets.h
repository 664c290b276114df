#pragma once

#include <string>
#include <string_view>

#include "platform/cstring.h"

// Passwords and what is made of them for a server.
namespace platform {

// Overwrites the text and empties it. Other texts that share it keep it.
void Wipe(CString& secret);
void Wipe(std::string& secret);

std::string Base64Of(std::string_view bytes);
// false for a text that is not in Base64.
bool FromBase64(std::string_view base64, std::string& bytes);
// In small hexadecimal digits (RFC 1321, RFC 2104).
std::string Md5Hex(std::string_view text);
std::string HmacMd5Hex(std::string_view key, std::string_view text);

}  // namespace platform
