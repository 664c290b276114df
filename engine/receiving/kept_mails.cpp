#include "engine/receiving/kept_mails.h"

#include <algorithm>

#include "engine/base/digest.h"
#include "engine/base/failure.h"
#include "engine/base/shown_text.h"
#include "engine/base/trimmed.h"
#include "engine/base/whole_file.h"
#include "engine/incoming/incoming_mail.h"
#include "engine/incoming/mime_reading.h"
#include "engine/mails/html_source.h"
#include "engine/receiving/inbox.h"

namespace engine {
namespace {

// A mail whose bytes have changed since it was kept is told.
IncomingMail Read(Session const& session, KeptMail const& kept) {
    std::string const text = ReadWholeFile(kept.file.string(), "受信したメール");
    if (!kept.file.stem().string().ends_with(DigestOf(text)))
        session.Front().Notice("受信したメールが壊れています: " + kept.file.string());
    return IncomingMail(text);
}

std::string SenderOf(IncomingMessage const& message) {
    for (char const* field : {"From", "Sender", "Return-Path"}) {
        std::string_view const value = message.Field(field);
        if (value.empty()) continue;
        SenderAddress const sender = FirstSender(value);
        if (sender.address.find('@') == sender.address.npos) return ShownLine(message.Decoded(field));
        return ShownLine(sender.name.empty() ? sender.address : sender.name + " <" + sender.address + ">");
    }
    return {};
}

KeptMailRow HeadOf(int number, IncomingMessage const& message) {
    return {number,
            {},
            LocalTimeOf(message.Field("Date")),
            SenderOf(message),
            ShownLine(message.Decoded("Subject"))};
}

bool IsHtml(IncomingPart const& part) { return part.type == "text/html"; }

// What a mail says by itself: its texts, and of HTML only what stands in place of a text. A mail that
// consists of another says what that says.
class Reading {
  public:
    explicit Reading(IncomingMail const& mail) : mail_(mail) {
        for (IncomingPart const& part : mail_.Parts())
            if (IsShown(part)) speaker_ = std::min(speaker_, part.message);
        for (IncomingPart const& part : mail_.Parts())
            has_plain_text_ |= Speaks(part) && !IsHtml(part) && !Trimmed(part.content).empty();
    }

    std::string Body() const {
        std::string body;
        for (IncomingPart const& part : mail_.Parts()) {
            if (!Speaks(part) || IsHtml(part) == has_plain_text_) continue;
            if (!body.empty() && !body.ends_with("\n\n")) body += body.ends_with('\n') ? "\n" : "\n\n";
            body += ShownText(IsHtml(part) ? TextOfHtmlInUtf8(part.content) : part.content);
        }
        return body;
    }

    std::vector<KeptAttachment> Attachments() const {
        std::vector<KeptAttachment> attachments;
        std::vector<std::size_t> places(mail_.Messages().size());  // of the mails, 0 for those within others
        for (std::size_t i = 1; i < mail_.Messages().size(); ++i) {
            if (i == speaker_ || mail_.Messages()[i].parent != static_cast<int>(speaker_)) continue;
            attachments.push_back({ShownLine("メール「" + mail_.Messages()[i].Decoded("Subject") + "」"), 0});
            places[i] = attachments.size();
        }
        std::vector<KeptAttachment> files;
        for (IncomingPart const& part : mail_.Parts()) {
            if (std::size_t const place = places[OutermostOf(part.message)])
                attachments[place - 1].size += part.size;
            else if (!Speaks(part))
                files.push_back({ShownLine(part.name.empty() ? part.type : part.name), part.size});
        }
        attachments.insert(attachments.begin(), files.begin(), files.end());
        return attachments;
    }

  private:
    static bool IsShown(IncomingPart const& part) { return part.text && !part.attached && part.name.empty(); }
    bool Speaks(IncomingPart const& part) const { return part.message == speaker_ && IsShown(part); }

    // Of the mails that hold this one, the one that lies in the speaker; the mail itself for none.
    std::size_t OutermostOf(std::size_t message) const {
        for (int parent; (parent = mail_.Messages()[message].parent) >= 0;
             message = static_cast<std::size_t>(parent))
            if (static_cast<std::size_t>(parent) == speaker_) return message;
        return message;
    }

    IncomingMail const& mail_;
    std::size_t speaker_ = static_cast<std::size_t>(-1);  // the message whose texts are the body
    bool has_plain_text_ = false;
};

}  // namespace

std::vector<KeptMailRow> ListKeptMails(Session const& session) {
    std::vector<KeptMailRow> rows;
    std::map<int, Effect> const effects = EffectsOfKept(session.DataDirectory());
    for (KeptMail const& kept : Inbox(session.DataDirectory()).Kept()) {
        rows.push_back(HeadOf(kept.number, Read(session, kept).Messages()[0]));
        auto const effect = effects.find(kept.number);
        if (effect != effects.end()) rows.back().kind = effect->second.kind;
    }
    return rows;
}

KeptMailText ReadKeptMail(Session const& session, int number) {
    for (KeptMail const& kept : Inbox(session.DataDirectory()).Kept()) {
        if (kept.number != number) continue;
        IncomingMail const mail = Read(session, kept);
        Reading const reading(mail);
        return {HeadOf(number, mail.Messages()[0]), kept.file.string(), reading.Attachments(), reading.Body(),
                mail.Whole()};
    }
    throw Failure(Failure::received_mail_not_found,
                  "その番号の受信メールはありません: " + std::to_string(number));
}

}  // namespace engine
