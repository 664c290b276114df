#include "tessaly/protocol/mail_dots.h"

#include <algorithm>

#include "tessaly/protocol/socket_support.h"

namespace protocol {
namespace {

constexpr std::string_view closing_line = ".\r\n";

}  // namespace

void AppendDotStuffed(CString& out, std::string_view text) {
    std::size_t copied = 0;
    for (std::size_t dot = text.find('.'); dot != std::string_view::npos; dot = text.find('.', dot + 1)) {
        bool const at_line_start = dot == 0 || text.substr(0, dot).ends_with("\r\n");
        if (!at_line_start) continue;
        out += text.substr(copied, dot - copied);
        out += '.';
        copied = dot;
    }
    out += text.substr(copied);
}

CString DotUnstuffed(std::string_view wire) {
    if (wire == closing_line || wire.ends_with("\n.\r\n")) wire.remove_suffix(closing_line.size());
    CString text;
    text.Reserve(static_cast<int>(wire.size()));
    for (std::size_t at = 0; at < wire.size();) {
        std::size_t const end = std::min(wire.find('\n', at), wire.size() - 1) + 1;
        std::size_t const begin = wire.substr(at, 2) == ".." ? at + 1 : at;
        text += wire.substr(begin, end - begin);
        at = end;
    }
    return text;
}

DotText ReadDotText(SocketSupport& socket, int limit, CString& text) {
    SocketSupport::WholeReply const whole(socket);
    CString line;
    for (;;) {
        line.Empty();
        if (int const length = socket.GetLine(line, 0, 0); length < 1) {
            if (length == 0) platform::SetLastSocketError(0);
            return DotText::lost;
        }
        if (text.GetLength() > limit - line.GetLength()) return DotText::too_long;
        text += line;
        if (line.View() == closing_line) return DotText::complete;
    }
}

}  // namespace protocol
