#include <cstdint>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "engine/reports/mail_report.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    std::optional<int> mail;
    bool deleted = false;
    std::string format = "table";
};

std::string Number(std::int64_t number) { return std::to_string(number); }

void ReportAll(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    std::vector<MailSummary> const mails = SummariesOfMails(session, arguments.deleted);
    Listing listing(std::cout, format,
                    {"番号", "件名", "状態", "宛先", "送信", "宛先なし", "その他エラー", "不明", "待ち",
                     "開封", "配信停止", "送信回数", "更新日時"});
    for (MailSummary const& mail : mails) {
        MailCounts const& counts = mail.counts;
        listing.Add({Number(mail.mail), mail.subject, WordOf(mail.status), Number(counts.recipients),
                     Number(counts.sent), Number(counts.no_mailbox), Number(counts.other_errors),
                     Number(counts.unknown), Number(counts.waiting), Number(counts.opened),
                     Number(mail.refusals), Number(counts.attempts), mail.changed});
    }
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(mails.size()) << "件\n";
}

void ReportOne(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    MailOutcomes const outcomes = OutcomesOfMail(session, *arguments.mail);
    Listing listing(std::cout, format,
                    {"個人情報ID", "メールアドレス", "名前", "状態", "送信回数", "エラー", "開封",
                     "Message-ID", "最終送信日時", "応答", "理由"});
    for (RecipientOutcome const& one : outcomes.recipients)
        listing.Add({Number(one.customer), one.address, one.name, WordOf(one.state), Number(one.attempts),
                     Number(one.failures), one.opened, one.message_id, one.last_sent, one.code, one.reason});
    listing.End();
    if (format != ListFormat::table) return;
    MailCounts const& counts = outcomes.counts;
    std::cout << "宛先 " << counts.recipients << "人: 送信 " << counts.sent << "人、宛先なし "
              << counts.no_mailbox << "人、その他エラー " << counts.other_errors << "人、不明 "
              << counts.unknown << "人、待ち " << counts.waiting << "人。開封 " << counts.opened
              << "人、送信回数 " << counts.attempts << "回\n";
    if (counts.unknown > 0)
        std::cout << "不明の人をどうするかは「tessaly unknown " << arguments.env_file << " "
                  << *arguments.mail << "」で決めます。\n";
}

}  // namespace

void AddReportCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command =
        program.add_subcommand("report", "送信の結果を、メールごと、または宛先ごとに表示します");
    AddEnvFile(*command, arguments->env_file);
    CLI::Option* mail = AddMail(*command, arguments->mail);
    command->add_flag("--deleted", arguments->deleted, "削除したメールも含めます")->excludes(mail);
    AddFormat(*command, arguments->format);
    AddAccess(*command, arguments->access);
    command->callback([arguments] {
        if (arguments->mail)
            ReportOne(*arguments);
        else
            ReportAll(*arguments);
    });
}

}  // namespace cli
