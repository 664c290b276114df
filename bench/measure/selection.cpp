// Target groups, histories and the list of mails.
#include <tessaly/customers.h>
#include <tessaly/delivery.h>
#include <tessaly/environment.h>
#include <tessaly/mailstore.h>
#include <tessaly/platform/path.h>
#include <tessaly/storage.h>
#include <tessaly/text.h>

#include <fstream>
#include <stdexcept>

#include "measure.h"

namespace measure {
namespace {

constexpr int history_rows = 100000;
constexpr int mails = 10000;
constexpr int runs = 3;
// Elements of the imported data: prefecture, a date of 2,017 values, and the address.
constexpr int prefecture = 11, date = 34, address = 1;

void Require(bool condition, char const* what) {
    if (!condition) throw std::runtime_error(what);
}

OneExtractCondition Contains(int element, char const* text) {
    OneExtractCondition condition;
    condition.ElementNumber = element;
    condition.Values.Add(text);
    return condition;
}

OneExtractCondition From(int element, char const* low) {
    OneExtractCondition condition;
    condition.ElementNumber = element;
    condition.Mode = "R";
    condition.RangeLow = low;
    return condition;
}

void Conditions(std::string const& task, EnvManager& env, CDatabaseEdit& customers) {
    ExtractAction action(&env, &customers, extract::ec_list, ExtractAction::id_new_list);
    action.GetExtractConditionFromFileToMemory(0, nullptr);
    OneExtractCondition slots[] = {Contains(prefecture, "東京都"), From(date, "2023/01/01"),
                                   Contains(address, ".co.jp")};
    constexpr EC_CON_NUM numbers[] = {extract::ec_con_1, extract::ec_con_2, extract::ec_con_3};
    for (int i = 0; i < 3; ++i)
        action.SetExtractConditionFromStructToMemory(slots[i], extract::ec_tab_1, numbers[i]);
    CList<int, int> all;
    customers.GetDBIDWithoutDelete(all);
    double least = 1e99;
    for (int run = 0; run < runs; ++run) {
        CList<int, int> ids = all;
        double const start = Now();
        for (EC_CON_NUM const number : numbers)
            Require(action.PracticalExtractAction(ids, extract::ec_tab_1, number) == ExtractAction::ok,
                    "no selection");
        least = std::min(least, Now() - start);
        if (run == 0) Note("three conditions leave " + std::to_string(ids.GetCount()));
    }
    Row(task + "3 conditions, AND", 1e3 * least, "ms");

    CMailListViewer list(&env);
    ExtractListViewer lists(&env);
    ExtractResultDetail recipients(&env, &list, &lists, &customers, extract::er_list,
                                   ExtractResultDetail::id_new_list);
    Row(task + "send list of all customers (SetDBIDFromCListInt)", Best([&] {
            recipients.ALLRemoveDBID();
            Require(recipients.SetDBIDFromCListInt(all, 1, 1) == ExtractResultDetail::ok, "no send list");
        }),
        "s");
}

void Histories(EnvManager& env, CMailListViewer& list) {
    HistoryListViewer history;
    history.SetEnvManager(&env);
    history.SetMailListViewer(&list);
    Require(history.SetMailID(0, 0) == HistoryListViewer::ok, "no mail");
    history.GetHDataFromFileToMemory(0, nullptr);
    HistorySet row{0, "W", -1, "N", "", COleDateTime::GetCurrentTime()};
    for (row.CustomerID = 0; row.CustomerID < history_rows; ++row.CustomerID) {
        row.MessageID.Format("20261123015559219.%05d.%d.tessaly@example.jp", row.CustomerID, row.CustomerID);
        history.SetHDataFromStructToMemory(row);
    }
    Row("history, 100,000 rows: save", Best([&] {
            Require(history.WriteHDataFromMemoryToFileCompel() == HistoryListViewer::ok, "no history saved");
        }),
        "s");
    CArray<int, int> found;
    Row("history, 100,000 rows: load and index, both ways", Best([&] {
            Require(history.GetHDataFromFileToMemory(0, nullptr) == HistoryListViewer::ok, "no history");
            history.GetCustomerIDFromMessageID("20261123015559219.00007.7.tessaly@example.jp", found);
        }),
        "s");
    Require(found.GetSize() == 1 && found[0] == 7, "the history does not find a Message-ID");
}

void Mails(EnvManager& env) {
    {
        CMailListViewer list(&env);
        OneMail mail;
        mail.m_strSubject[pc] = "ご案内";
        mail.m_strBody[pc] = "本文";
        COneMailData row;
        row.SetStatus("D", 0);
        for (int id = 0; id < mails; ++id) {
            row.SetMailID(id);
            list.SetMailData(row);
            CString folder;
            folder.Format("MAIL\\%d", id);
            MakeDirectoryCompel(env.DataPath(folder));
            for (char const* part : {"mail", "meli", "merd"}) {
                CString file;
                file.Format("MAIL\\%d\\%s%d.dat", id, part, id);
                std::ofstream(platform::HostPath(env.DataPath(file).View()));
            }
        }
        Require(list.WriteMailListCompel() == CMailListViewer::ok, "no list of mails");
        Histories(env, list);
    }
    int rows = 0;
    Row("list of 10,000 mails: load, index and repair check", Best([&] {
            CMailListViewer list(&env);
            rows = list.FindMailData(mails - 1) == CMailListViewer::mail_found ? list.CountMail() : 0;
        }),
        "s");
    Require(rows == mails, "the list of mails is not whole");
}

}  // namespace

void Selection(std::string const& task, EnvManager& env, CDatabaseEdit& customers) {
    Conditions(task, env, customers);
    if (task.find("1M") != task.npos) Mails(env);
}

}  // namespace measure
