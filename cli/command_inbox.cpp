#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "cli/command.h"
#include "cli/listing.h"
#include "cli/progress.h"
#include "engine/base/crossing.h"
#include "engine/base/date_text.h"
#include "engine/base/failure.h"
#include "engine/mails/received_text.h"
#include "engine/receiving/inbox.h"
#include "tessaly/delivery.h"
#include "tessaly/mime.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    int number = 0;
    std::string format = "table";
};

// Result: the mail.
MimeFormatStruct Analyse(KeptMail const& kept, MailAnalyzer& analyzer) {
    std::ifstream file(kept.file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) throw Failure(Failure::unreadable_file, "受信したメールを読めません: " + kept.file.string());
    MimeFormatStruct mail;
    MimeDecodeTool::MimeDecode(CString(std::string_view(text)), mail);
    analyzer.InitMember();
    analyzer.MailAnalysis(mail);
    return mail;
}

CString DateOf(MailAnalyzer const& analyzer) { return DateText(analyzer.GetMailSendDate()); }

void List(Arguments const& arguments) {
    const ListFormat format = ListFormatOf(arguments.format);
    const Session session(arguments.access, arguments.env_file, Session::For::reading);
    Listing listing(std::cout, format, {"番号", "日時", "差出人", "件名"});
    const std::vector<KeptMail> kept = Inbox(session.DataDirectory()).Kept();
    MailAnalyzer analyzer;
    for (KeptMail const& mail : kept) {
        const CString subject = IntoWithGeta(SubjectOf(Analyse(mail, analyzer)));
        listing.Add(
            {std::to_string(mail.number).c_str(), DateOf(analyzer), analyzer.GetFromAddress(), subject});
    }
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(kept.size()) << "件\n";
}

void Show(Arguments const& arguments) {
    const Session session(arguments.access, arguments.env_file, Session::For::reading);
    for (KeptMail const& mail : Inbox(session.DataDirectory()).Kept()) {
        if (mail.number != arguments.number) continue;
        MailAnalyzer analyzer;
        const std::string subject = SubjectOf(Analyse(mail, analyzer));
        CString body = analyzer.GetDecodeMailBody();
        body.Replace("\r\n", "\n");
        std::cout << "差出人: " << Out(OnOneLine(analyzer.GetFromAddress().View()))
                  << "\n日時: " << Out(DateOf(analyzer)) << "\n件名: " << OnOneLine(subject)
                  << "\nファイル: " << mail.file.string() << "\n添付: " << analyzer.GetAttachFileNum()
                  << "件\n\n"
                  << GuessedText(body.View()) << "\n";
        return;
    }
    throw Failure(Failure::received_mail_not_found,
                  "その番号の受信メールはありません: " + std::to_string(arguments.number));
}

}  // namespace

void AddInboxCommands(CLI::App& program) {
    CLI::App* family = program.add_subcommand("inbox", "受信して残したメールを表示します");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();
    AddFormat(*AddOne(*family, "list", "受信箱の一覧を表示します", arguments, List), arguments->format);
    AddOne(*family, "show", "受信したメールを1通表示します", arguments, Show)
        ->add_option("N", arguments->number, "番号")
        ->required()
        ->check(NumberFrom(1))
        ->type_name("");
}

}  // namespace cli
