#pragma once

#include <algorithm>
#include <string_view>

namespace protocol {

// Whether the bytes of an address can stand between the angle brackets of SMTP's MAIL and RCPT (RFC 5321
// 4.1.2): no bracket, blank or control character, which would end the address or the command. All else is
// left to the server, since carriers issued addresses that break the rules, such as with two dots in a row.
// None of these bytes is the second byte of a character in code page 932.
inline bool FitsEnvelope(std::string_view address) {
    return std::all_of(address.begin(), address.end(), [](char c) {
        auto const byte = static_cast<unsigned char>(c);
        return byte > ' ' && byte != 0x7F && c != '<' && c != '>';
    });
}

}  // namespace protocol
