#include "engine/receiving/kept_mails.h"

#include <fstream>
#include <iterator>

#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/digest.h"
#include "engine/base/failure.h"
#include "engine/mails/received_text.h"
#include "engine/receiving/inbox.h"
#include "tessaly/delivery.h"
#include "tessaly/mime.h"

namespace engine {
namespace {

// Result: the mail. One whose bytes have changed since it was kept is told.
MimeFormatStruct Analyse(Session const& session, KeptMail const& kept, MailAnalyzer& analyzer) {
    std::ifstream file(kept.file, std::ios::binary);
    std::string const text{std::istreambuf_iterator<char>(file), {}};
    if (!file) throw Failure(Failure::unreadable_file, "受信したメールを読めません: " + kept.file.string());
    if (!kept.file.stem().string().ends_with(DigestOf(text)))
        session.Front().Notice("受信したメールが壊れています: " + kept.file.string());
    MimeFormatStruct mail;
    MimeDecodeTool::MimeDecode(CString(std::string_view(text)), mail);
    analyzer.InitMember();
    analyzer.MailAnalysis(mail);
    return mail;
}

std::string DateOf(MailAnalyzer const& analyzer) { return Out(DateText(analyzer.GetMailSendDate())); }

}  // namespace

std::vector<KeptMailRow> ListKeptMails(Session const& session) {
    std::vector<KeptMailRow> rows;
    MailAnalyzer analyzer;
    for (KeptMail const& kept : Inbox(session.DataDirectory()).Kept()) {
        std::string const subject = SubjectOf(Analyse(session, kept, analyzer));
        rows.push_back(
            {kept.number, DateOf(analyzer), Out(analyzer.GetFromAddress()), Out(IntoWithGeta(subject))});
    }
    return rows;
}

KeptMailText ReadKeptMail(Session const& session, int number) {
    for (KeptMail const& kept : Inbox(session.DataDirectory()).Kept()) {
        if (kept.number != number) continue;
        MailAnalyzer analyzer;
        std::string const subject = SubjectOf(Analyse(session, kept, analyzer));
        CString body = analyzer.GetDecodeMailBody();
        body.Replace("\r\n", "\n");
        return {kept.file.string(),          DateOf(analyzer),        Out(analyzer.GetFromAddress()), subject,
                analyzer.GetAttachFileNum(), GuessedText(body.View())};
    }
    throw Failure(Failure::received_mail_not_found,
                  "その番号の受信メールはありません: " + std::to_string(number));
}

}  // namespace engine
