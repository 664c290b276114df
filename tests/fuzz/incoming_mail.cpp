// Received mail of any program: what is read of it keeps its limits, and what the analysis gets is
// well-formed.

#include "engine/incoming/incoming_mail.h"

#include "engine/base/crossing.h"
#include "engine/base/shown_text.h"
#include "engine/incoming/mime_reading.h"
#include "fuzz_target.h"
#include "tessaly/delivery.h"

namespace {

void IsSafe(std::string const& shown) {
    fuzz::Check(engine::IsUtf8(shown), "what is shown is UTF-8");
    for (char const c : shown)
        fuzz::Check(c < 0 || c >= ' ' || c == '\n' || c == '\t', "no control character is shown");
    fuzz::Check(shown.find("\xC2\x9B") == std::string::npos, "no C1 is shown");
}

void PartIsRead(engine::IncomingMail const& mail, engine::IncomingPart const& part) {
    fuzz::Check(part.message < mail.Messages().size(), "a part belongs to a message");
    fuzz::Check(part.type.find('/') != std::string::npos, "a part has a type");
    fuzz::Check(engine::IsUtf8(part.name), "a name is UTF-8");
    if (!part.text) return fuzz::Check(part.content.size() <= part.size, "a file keeps its size");
    fuzz::Check(engine::IsUtf8(part.content), "a text is UTF-8");
    fuzz::Check(part.content.find('\r') == std::string::npos, "a text has LF");
    IsSafe(engine::ShownText(part.content));
}

}  // namespace

void FuzzOne(std::string_view bytes) {
    engine::IncomingMail const mail(bytes);
    fuzz::Check(!mail.Messages().empty() && mail.Parts().size() <= 1000, "the limits hold");
    for (engine::IncomingPart const& part : mail.Parts()) PartIsRead(mail, part);
    for (std::size_t i = 0; i < mail.Messages().size(); ++i) {
        engine::IncomingMessage const& message = mail.Messages()[i];
        fuzz::Check(message.parent < static_cast<int>(i), "a message lies in an earlier one");
        IsSafe(engine::ShownLine(message.Decoded("Subject")));
        engine::FirstSender(message.Field("From"));
        engine::LocalTimeOf(message.Field("Date"));
    }
    CString const text = mail.ForAnalysis();
    fuzz::Check(text.View().find('\0') == std::string_view::npos, "the analysis gets the whole");
    MailAnalyzer analyzer;
    fuzz::Check(analyzer.MailAnalysis(text) == 0, "the analysis gets a well-formed mail");
}
