#include <algorithm>
#include <cstdint>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "cli/progress.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/mails/mail_status.h"
#include "engine/mails/mail_store.h"
#include "engine/receiving/answers.h"
#include "engine/sending/send_history.h"
#include "engine/targets/target.h"

namespace cli {
namespace {

constexpr int family_name = 2, given_name = 3;  // elements of a customer

struct Arguments {
    Access access;
    std::string env_file;
    int mail = new_mail;
    bool deleted = false;
    std::string format = "table";
};

CString Number(std::int64_t number) { return CString(std::to_string(number).c_str()); }

struct Counts {
    int recipients = 0, sent = 0, errors = 0, opened = 0, waiting = 0;
};

// A mail that nobody was sent yet waits for everyone in its list.
Counts CountsOf(Session& session, int mail, HistoryListViewer& history) {
    Counts counts;
    history.GetNumOneMail(counts.sent, counts.errors, counts.opened, counts.recipients);
    if (counts.recipients == 0) {
        counts.recipients = counts.waiting = RecipientCount(session, mail);
        return counts;
    }
    for (int row = 0; row < history.GetRecordNumber(); ++row)
        if (history.GetStringElement(HistoryListViewer::element_state, row) == status_waiting)
            ++counts.waiting;
    return counts;
}

void ReportAll(Arguments const& arguments) {
    const ListFormat format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    CArray<int, int> ids;
    unsigned long views = CMailListViewer::view_not_deleted;
    if (arguments.deleted) views |= CMailListViewer::view_deleted;
    session.Mails().CountMailByViewType(views, &ids);
    Listing listing(
        std::cout, format,
        {"番号", "件名", "状態", "宛先", "送信", "エラー", "開封", "待ち", "戻り", "配信停止", "更新日時"});
    AnswerCounts answers = CountAnswers(session.DataDirectory());
    for (int const id : ids) {
        HistoryListViewer history;
        LoadHistory(session, id, history);
        const Counts counts = CountsOf(session, id, history);
        COneMailData row;
        CString changed;
        session.Mails().GetMailData(id, row);
        session.Mails().GetMailDataPinPoint(id, CMailListViewer::column_renewal_date, changed);
        listing.Add({Number(id), row.GetMailTitle(), Into(StatusName(row.GetStatus()), "状態"),
                     Number(counts.recipients), Number(counts.sent), Number(counts.errors),
                     Number(counts.opened), Number(counts.waiting), Number(answers[id][AnswerKind::bounce]),
                     Number(answers[id][AnswerKind::refusal]), changed});
    }
    listing.End();
    if (format == ListFormat::table)
        std::cout << Grouped(static_cast<std::uint64_t>(ids.GetSize())) << "件\n";
}

CString NameOfState(CString const& state) {
    if (state == status_complete) return Into("完了", "状態");
    if (state == status_waiting) return Into("待ち", "状態");
    return state == status_with_errors ? Into("エラー", "状態") : state;
}

CString NameOfCustomer(CDatabaseEdit& customers, int id) {
    const CString family = customers.GetCustomerDataPinPoint(id, family_name);
    const CString given = customers.GetCustomerDataPinPoint(id, given_name);
    return family.IsEmpty() || given.IsEmpty() ? family + given : family + " " + given;
}

void ReportOne(Arguments const& arguments) {
    const ListFormat format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    RequireMail(session, arguments.mail, Deleted::allow);
    HistoryListViewer history;
    LoadHistory(session, arguments.mail, history);
    CArray<HistorySet, HistorySet> rows;
    history.GetHDataFromMemoryToStruct(rows, -1, -1);
    Listing listing(std::cout, format,
                    {"個人情報ID", "メールアドレス", "名前", "状態", "送信回数", "エラー", "開封",
                     "Message-ID", "最終送信日時"});
    for (int i = 0; i < rows.GetSize(); ++i) {
        HistorySet const& row = rows[i];
        const std::int64_t attempts = std::int64_t{row.RetryNumber} + 1;
        CString date;
        if (attempts > 0) date = history.GetStringElement(HistoryListViewer::element_last_send_date, i);
        listing.Add({Number(row.CustomerID),
                     session.Customers().GetCustomerDataPinPoint(row.CustomerID, customers::element_address),
                     NameOfCustomer(session.Customers(), row.CustomerID), NameOfState(row.State),
                     Number(attempts), Number(row.State == status_complete ? attempts - 1 : attempts),
                     row.OpenFlag, row.MessageID, date});
    }
    listing.End();
    if (format != ListFormat::table) return;
    const Counts counts = CountsOf(session, arguments.mail, history);
    std::cout << "宛先 " << Grouped(static_cast<std::uint64_t>(counts.recipients)) << "人: 送信 "
              << counts.sent << "回、エラー " << counts.errors << "回、開封 " << counts.opened << "人、待ち "
              << counts.waiting << "人\n";
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
        if (arguments->mail == new_mail)
            ReportAll(*arguments);
        else
            ReportOne(*arguments);
    });
}

}  // namespace cli
