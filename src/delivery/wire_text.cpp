#include "delivery/wire_text.h"

#include "platform/mail_dots.h"
#include "text/kcodec.h"

namespace delivery {

namespace {

constexpr std::string_view transfer_encoding = "Content-Transfer-Encoding: 7bit\r\n";
constexpr std::string_view default_content_type = "text/plain; charset=ISO-2022-JP";
// What the fixed lines of a mail take at most, to reserve the text once.
constexpr std::size_t room_for_fixed_lines = 512;

CString ContentTypeLine(CString const& content_type) {
    CString line("Content-Type: ");
    line += content_type.IsEmpty() ? default_content_type : content_type.View();
    line += "\r\n";
    return line;
}

void AppendHeaderBlock(CString& out, WireParts const& parts, std::string_view content_type_line) {
    out += parts.header;
    if (!parts.message_id.IsEmpty()) ((out += "Message-Id: <") += parts.message_id) += ">\r\n";
    if (!parts.mailer_name.IsEmpty()) ((out += "X-Mailer: ") += parts.mailer_name) += "\r\n";
    out += content_type_line;
    out += "Mime-Version: 1.0\r\n";
    out += transfer_encoding;
}

void AppendBoundary(CString& out, CString const& boundary, std::string_view end) {
    ((out += "--") += boundary) += end;
}

void AppendMultipart(CString& out, WireParts const& parts, std::string_view jis_body) {
    const CString multipart = "Content-Type: multipart/mixed; boundary=\"" + parts.boundary + "\"\r\n";
    AppendHeaderBlock(out, parts, multipart.View());
    out += "\r\n";
    AppendBoundary(out, parts.boundary, "\r\n");
    out += ContentTypeLine(parts.content_type);
    out += "Content-Transfer-Encoding: 7bit";
    out += "\r\n\r\n";
    platform::AppendDotStuffed(out, jis_body);
    out += "\r\n";
    for (CString const& part : *parts.attachments) {
        AppendBoundary(out, parts.boundary, "\r\n");
        out += part;
        out += "\r\n";
    }
    AppendBoundary(out, parts.boundary, "--\r\n");
    out += ".\r\n";
}

void AppendPlain(CString& out, WireParts const& parts, std::string_view jis_body) {
    AppendHeaderBlock(out, parts, ContentTypeLine(parts.content_type).View());
    out += "\r\n";
    platform::AppendDotStuffed(out, jis_body);
    out += "\r\n.\r\n";
}

}  // namespace

CString MakeWireText(WireParts const& parts) {
    KCodeC codec;
    const std::string_view jis_body = codec.sjtojis7(parts.body, 0);
    bool const with_attachments = parts.attachments && !parts.attachments->IsEmpty();

    std::size_t size = parts.header.View().size() + jis_body.size() + room_for_fixed_lines;
    if (with_attachments)
        for (CString const& part : *parts.attachments)
            size += part.View().size() + parts.boundary.View().size() + sizeof "--\r\n\r\n";
    CString wire;
    wire.Reserve(static_cast<int>(size));
    if (with_attachments)
        AppendMultipart(wire, parts, jis_body);
    else
        AppendPlain(wire, parts, jis_body);
    return wire;
}

}  // namespace delivery
