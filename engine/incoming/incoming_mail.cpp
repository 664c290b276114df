#include "engine/incoming/incoming_mail.h"

#include "engine/base/crossing.h"
#include "engine/base/lower_case.h"
#include "engine/incoming/analysis_text.h"
#include "engine/incoming/mail_reader.h"
#include "engine/mails/received_text.h"

namespace engine {

struct IncomingMail::Content {
    MailTree tree;
};

std::string_view IncomingMessage::Field(std::string_view name) const {
    for (IncomingField const& field : fields)
        if (EqualNoCase(field.name, name)) return field.value;
    return {};
}

std::string IncomingMessage::Decoded(std::string_view name) const {
    return OnOneLine(DecodedHeader(Field(name)));
}

IncomingMail::IncomingMail(std::string_view raw) : content_(new Content{ReadMail(raw)}) {}
IncomingMail::~IncomingMail() = default;
IncomingMail::IncomingMail(IncomingMail&&) noexcept = default;
IncomingMail& IncomingMail::operator=(IncomingMail&&) noexcept = default;

std::vector<IncomingMessage> const& IncomingMail::Messages() const { return content_->tree.messages; }
std::vector<IncomingPart> const& IncomingMail::Parts() const { return content_->tree.parts; }
bool IncomingMail::Whole() const { return content_->tree.whole; }
CString IncomingMail::ForAnalysis() const { return AnalysisText(content_->tree); }

}  // namespace engine
