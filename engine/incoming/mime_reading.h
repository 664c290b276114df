#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The syntax of MIME fields and the transfer encodings, as GMime reads them.
namespace engine {

// A Content-Type (RFC 2045 5).
struct MimeType {
    std::string type, subtype;  // lower case; "text", "plain" for a value that is none
    std::string boundary, charset, report_type;

    std::string Full() const { return type + "/" + subtype; }
};
MimeType ReadMimeType(std::string_view value);

// Whether a Content-Disposition (RFC 2183) says "attachment".
bool IsAttachment(std::string_view disposition);

// The first address of a From, Sender or Return-Path and the name beside it, in UTF-8.
struct SenderAddress {
    std::string name, address;
};
SenderAddress FirstSender(std::string_view value);

// A Date in any form that programs write, as "2026/11/23 10:00:00" in local time. Empty for none.
std::string LocalTimeOf(std::string_view date);

// What a Content-Transfer-Encoding makes of a part; an unknown one counts as none.
struct Untransferred {
    std::string content;     // its first bytes, as many as were asked for
    std::uint64_t size = 0;  // of the whole
};
Untransferred WithoutTransferEncoding(std::string_view encoding, std::string_view encoded, std::size_t limit);

// Whether an encoding changes the bytes: Base64, quoted-printable, uuencode.
bool IsEncoding(std::string_view encoding);

}  // namespace engine
