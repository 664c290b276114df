// What the application reads of received mail, and text of any bytes made fit for mail: nothing stops at a
// character without a form, and damage takes no line end along.

#include "engine/mails/received_text.h"

#include <algorithm>

#include "engine/base/crossing.h"
#include "engine/mails/mail_text.h"
#include "fuzz_target.h"
#include "tessaly/delivery.h"

namespace {

auto Lines(std::string_view text) { return std::count(text.begin(), text.end(), '\n'); }

void IsMailable(CString const& text) {
    CString const mailable = engine::Mailable(text, false);
    fuzz::Check(Lines(mailable.View()) == Lines(text.View()), "every line end stays");
    fuzz::Check(engine::Out(mailable).find("\uFFFD") == std::string::npos, "no damage is left");
    engine::MailableBody(text);
    CString const header = engine::HeaderLine("Subject", engine::Mailable(text, true));
    for (std::string_view rest = header.View(); !rest.empty();) {
        std::string_view const line = rest.substr(0, rest.find("\r\n"));
        fuzz::Check(line.find("=?ISO-2022-JP?B?") == line.npos || line.size() <= 76,
                    "a line of words is short");
        rest.remove_prefix(std::min(line.size() + 2, rest.size()));
    }
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    std::string const text = fuzz::TextOf(bytes);
    MimeFormatStruct mail;
    MimeDecodeTool::MimeDecode(CString(text.c_str()), mail);
    engine::DecodedHeader(text);
    engine::NameOfPart(text, mail.m_strContentType.View());
    MailAnalyzer analyzer;
    analyzer.MailAnalysis(mail);
    CString const crossed = engine::IntoWithGeta(text);
    fuzz::Check(Lines(crossed.View()) == Lines(text), "text keeps its lines");
    fuzz::Check(crossed.View().find('\x1B') == std::string_view::npos, "no escape is left");
    IsMailable(CString(text.c_str()));
}
