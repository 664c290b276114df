#include "tessaly/delivery/wire_text.h"

#include "tessaly/protocol/mail_dots.h"
#include "tessaly/text/kcodec.h"
#include "text/byte_runs.h"

namespace delivery {

namespace {

constexpr std::string_view transfer_encoding = "Content-Transfer-Encoding: 7bit\r\n";
constexpr std::string_view default_content_type = "text/plain; charset=ISO-2022-JP";
// Largest size of the fixed lines of a mail, to reserve the text once.
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

enum class Dots { as_they_are, stuffed };

void AppendBody(CString& out, std::string_view jis_body, Dots dots) {
    if (dots == Dots::stuffed)
        protocol::AppendDotStuffed(out, jis_body);
    else
        out += jis_body;
    out += "\r\n";
}

void AppendMultipart(CString& out, WireParts const& parts, std::string_view jis_body, Dots dots) {
    CString const multipart = "Content-Type: multipart/mixed; boundary=\"" + parts.boundary + "\"\r\n";
    AppendHeaderBlock(out, parts, multipart.View());
    out += "\r\n";
    AppendBoundary(out, parts.boundary, "\r\n");
    out += ContentTypeLine(parts.content_type);
    out += "Content-Transfer-Encoding: 7bit";
    out += "\r\n\r\n";
    AppendBody(out, jis_body, dots);
    for (CString const& part : *parts.attachments) {
        AppendBoundary(out, parts.boundary, "\r\n");
        out += part;
        out += "\r\n";
    }
    AppendBoundary(out, parts.boundary, "--\r\n");
}

void AppendPlain(CString& out, WireParts const& parts, std::string_view jis_body, Dots dots) {
    AppendHeaderBlock(out, parts, ContentTypeLine(parts.content_type).View());
    out += "\r\n";
    AppendBody(out, jis_body, dots);
}

CString Make(WireParts const& parts, Dots dots) {
    KCodeC codec;
    // Seven-bit text is the same in both codes, ISO-2022-JP included.
    std::string_view const jis_body =
        text::IsAscii(parts.body.View()) ? parts.body.View() : codec.sjtojis7(parts.body, 0);
    bool const with_attachments = parts.attachments && !parts.attachments->IsEmpty();

    std::size_t size = parts.header.View().size() + jis_body.size() + room_for_fixed_lines;
    if (with_attachments)
        for (CString const& part : *parts.attachments)
            size += part.View().size() + parts.boundary.View().size() + sizeof "--\r\n\r\n";
    CString wire;
    wire.Reserve(static_cast<int>(size));
    if (with_attachments)
        AppendMultipart(wire, parts, jis_body, dots);
    else
        AppendPlain(wire, parts, jis_body, dots);
    return wire;
}

}  // namespace

CString MakeWireText(WireParts const& parts) {
    CString wire = Make(parts, Dots::stuffed);
    return wire += ".\r\n";
}

CString MakeMessage(WireParts const& parts) { return Make(parts, Dots::as_they_are); }

}  // namespace delivery
