#include "tessaly/delivery/history_list_viewer.h"

#include <climits>
#include <random>

#include "tessaly/mailstore/mail_list_viewer.h"
#include "tests/customers/customer_fixture.h"
#include "tests/support/file_content.h"
#include "tests/support/message_boxes.h"

namespace {

using History = HistoryListViewer;
using Ids = std::vector<int>;

char const* const no_file = "(no file)";
std::string const row_7 = "\"7\",\"W\",\"-1\",\"\",\"\",\"2004/05/06 07:08:09\"\r\n";

// Mail 12 is in the list of mails, and `history` is bound to all its partners and to that mail.
class HistoryTest : public CustomerTest {
  protected:
    HistoryTest() {
        for (char const* below : {"MAIL", "MAIL\\12"}) platform::MakeDirectory(env.DataPath(below));
        platform::WriteWholeFile(env.DataPath("MAIL\\maillist.dat"), "");
        mails.SetEnvManager(&env);
        COneMailData mail;
        mail.SetMailID(12);
        EXPECT_EQ(CMailListViewer::ok, mails.SetMailData(mail));
        EXPECT_EQ(4, history.SetEnvManager(&env) + history.SetSystemOption(&option) +
                         history.SetDatabaseEdit(&db) + history.SetMailListViewer(&mails));
        EXPECT_EQ(0, history.SetMailID(12, 0));
    }
    void Append(int customer, char const* state, int retry, char const* flag = "", CString id = "") {
        HistorySet row{customer, state, retry, flag, id, COleDateTime(2004, 5, 6, 7, 8, 9)};
        EXPECT_EQ(0, history.SetHDataFromStructToMemory(row)) << customer;
    }
    void Allow(CString allowed, CString limit) {
        EXPECT_EQ(0, option.SetSODataToMemoryPinPoint(54, allowed));
        EXPECT_EQ(0, option.SetSODataToMemoryPinPoint(65, limit));
    }
    std::string OnDisk() const { return platform::IsFile(path) ? TableContentOf(path, key) : no_file; }
    void ExpectFails(int result, int code, int got) {
        EXPECT_EQ(result, got) << code;
        EXPECT_EQ(code, history.GetErrMsg().GetLastCode()) << result;
        history.GetErrMsg().SetErr(0);
    }
    static Ids Asked(auto ask) {
        CArray<int, int> ids;
        ids.Add(-77);
        EXPECT_EQ(0, ask(ids));
        return Items(ids);
    }

    CString const key = env.GetDBKey(), path = env.DataPath("MAIL\\12\\hist12.dat");
    CMailListViewer mails;
    History history;
};

TEST_F(HistoryTest, WhatIsNotBoundYetIsNamed) {
    history = History();
    CDatabaseEdit fresh_db;
    CMailListViewer fresh_mails;
    CArray<int, int> ids;
    CList<int, int> list;
    ExpectFails(-1, 5001, history.SetMailID(12, 0));
    EXPECT_EQ(1, history.SetMailListViewer(&fresh_mails));
    for (int const code : {5001, 5013}) {
        ExpectFails(5000 - code, code, history.GetHDataFromFileToMemory(0, nullptr));
        ExpectFails(5000 - code, code, history.WriteHDataFromMemoryToFile());
        ExpectFails(5000 - code, code, history.WriteHDataFromMemoryToFileCompel());
        EXPECT_EQ(code == 5001, history.SetEnvManager(&env));  // the second time it holds one
    }
    for (int const code : {5002, 5003}) {
        ExpectFails(5000 - code, code, history.CheckRetrySendOK(7, 0));
        ExpectFails(5000 - code, code, history.GetRetryAddress(ids));
        ExpectFails(5000 - code, code, history.GetErrorAddress(ids));
        EXPECT_EQ(code == 5002, history.SetSystemOption(&option));
    }
    ExpectFails(-3, 5003, history.GetCustomerIDList(list, 0, 0));
    EXPECT_EQ(1, history.SetDatabaseEdit(&fresh_db));
    EXPECT_EQ(0, history.SetDatabaseEdit(&db) + history.SetMailListViewer(&mails));
    EXPECT_EQ(&env, fresh_mails.GetEnvManager());  // passed on, whichever was set first
    EXPECT_EQ(&env, fresh_db.GetEnvManager());
    ExpectFails(-14, 5014, history.SetMailID(13, 0));
    EXPECT_EQ(13, history.SetMailID(13, 1) + history.GetMailID());
    MessageBoxes const boxes;
    EXPECT_THROW(History(nullptr), CUserException);
    EXPECT_THROW(History(&env, nullptr, nullptr, nullptr), CUserException);
    EXPECT_THROW(History(&env, &option, nullptr, nullptr), CUserException);
    EXPECT_THROW(History(&env, &option, &db, nullptr), CUserException);
    EXPECT_THROW(History(&env, &option, &db, &mails, 13), CUserException);
    for (std::size_t box = 0; int const code : {5008, 5009, 5010, 5012, 5014}) {
        history.GetErrMsg().SetErr(code);
        EXPECT_EQ(history.GetErrMsg().GetLastMsg(), boxes.Texts().at(box++));
    }
    ExpectFails(-11, 5011, (history = History(&env)).SetMailID(12, 1));
}

TEST_F(HistoryTest, LoadsWhatIsAHistory) {
    std::string const five = "\"7\",\"W\",\"0\",\"\",\"\"\r\n";
    std::tuple<std::string, int, int> const cases[] = {
        {no_file, -21, 5201},          {"", -22, 5202},           {five, -23, 5203},
        {"\"7\"," + row_7, -23, 5203}, {row_7 + five, -23, 5203}, {"\r\n" + row_7, -99, 5999}};
    for (auto const& [content, result, code] : cases) {
        SCOPED_TRACE(content);
        history.SetMailID(12, 0);
        Append(8, "C", 0, "Y", "m@x");
        platform::RemoveFile(path);
        if (content != no_file) WriteTable(path, content, key);
        ExpectFails(result, code, history.GetHDataFromFileToMemory(0, nullptr));
        EXPECT_EQ(-1, history.DBID2RowNumber(8));
        EXPECT_EQ(0, history.WriteHDataFromMemoryToFile());  // leaves the file that it could not read
        EXPECT_EQ(content, OnDisk());
        if (code > 5202) continue;
        Append(7, "W", -1);
        EXPECT_EQ(0, history.WriteHDataFromMemoryToFile());
        EXPECT_EQ(row_7, OnDisk());
    }
    WriteTable(path, row_7 + "\"8\",\"E\",\"2\",\"Y\",\"\",\"\"\r\n" + row_7, key);
    EXPECT_EQ(0, history.GetHDataFromFileToMemory(0, nullptr));
    EXPECT_EQ(2, history.DBID2RowNumber(7));  // the later one
    EnvManager plain;
    ASSERT_EQ(0, plain.InitEnvFileInfo(env_path, nullptr, 0));
    History unkeyed(&plain, &option, &db, &mails, 12);
    WriteTable(path, row_7);
    EXPECT_GT(0, history.GetHDataFromFileToMemory(0, nullptr));
    EXPECT_EQ(0, history.GetHDataFromFileToMemory(1, nullptr) + unkeyed.GetHDataFromFileToMemory(1, "other"));
    platform::RemoveFile(path);
    EXPECT_EQ(0, unkeyed.WriteHDataFromMemoryToFile() + unkeyed.WriteHDataFromMemoryToFileCompel());
    EXPECT_EQ(row_7, TableContentOf(path));
}

TEST_F(HistoryTest, WhatIsNotSavedStaysUnsaved) {
    ExpectFails(-24, 5204, history.WriteHDataFromMemoryToFileCompel());  // a table without width
    Append(7, "W", -1);
    platform::FailWritesAfter(0);
    ExpectFails(-24, 5204, history.WriteHDataFromMemoryToFile());
    platform::FailWritesAfter(-1);
    platform::RemoveFile(path);
    CString const copy = folder.Path("copy.dat"), nowhere = folder.Path("no\\copy.dat");
    for (char const* used : {"other", static_cast<char const*>(nullptr)}) {
        EXPECT_EQ(0, history.WriteFromMemoryToFileAppointFileName(copy, used));
        EXPECT_EQ(row_7, TableContentOf(copy, used));
    }
    ExpectFails(-24, 5204, history.WriteFromMemoryToFileAppointFileName(nowhere, nullptr));
    for (std::string const& expected : {row_7, std::string(no_file)}) {  // saved once, then not again
        EXPECT_EQ(0, history.WriteHDataFromMemoryToFile());
        EXPECT_EQ(expected, OnDisk());
        platform::RemoveFile(path);
    }
    EXPECT_EQ(0, history.RetryNumInc(7) + history.WriteHDataFromMemoryToFile());
    EXPECT_NE(no_file, OnDisk());
    platform::RemoveFile(path);
    EXPECT_EQ(0, history.RetryNumInc(7) + history.SetMailID(12, 0));  // drops rows and what was unsaved
    EXPECT_EQ(-1, history.GetRecordNumber() + history.DBID2RowNumber(7));
    EXPECT_EQ(0, history.WriteHDataFromMemoryToFile());
    EXPECT_EQ(no_file, OnDisk());
}

TEST_F(HistoryTest, RowsAndTheirElements) {
    Append(7, "W", -1);
    history[0].SetSize(2);  // a row that lacks cells gets them when one is written
    EXPECT_EQ(0, history.SetElementToMemoryPinPoint(7, 5, "2004/05/06 07:08:09"));
    EXPECT_EQ("2004/05/06 07:08:09", history.GetElementFromMemoryPinPoint(7, 5));
    EXPECT_EQ("W", history.GetElementFromMemoryPinPoint(7, 1));
    EXPECT_EQ(6, history[0].GetSize());
    HistorySet again{7, "C", 3, "Y", "m@x", COleDateTime()};
    ExpectFails(-7, 5007, history.SetHDataFromStructToMemory(again));
    for (int const element : {-1, 6}) {
        ExpectFails(-6, 5006, history.SetElementToMemoryPinPoint(7, element, "x"));
        ExpectFails(-4, 5004, history.SetElementToMemoryPinPoint(8, element, "x"));
        ExpectFails(0, 5006, history.GetElementFromMemoryPinPoint(7, element).GetLength());
        ExpectFails(0, 5004, history.GetElementFromMemoryPinPoint(8, element).GetLength());
    }
    ExpectFails(-4, 5004, history.RetryNumInc(8));
    for (auto const& [before, after] : {std::pair{"-1", "0"}, {"x", "1"}, {"2147483647", "2147483647"}}) {
        EXPECT_EQ(0, history.SetElementToMemoryPinPoint(7, 2, before) + history.RetryNumInc(7));
        EXPECT_EQ(after, history.GetElementFromMemoryPinPoint(7, 2));
    }
    Append(INT_MIN, "", 0);
    HistorySet v{9, "E", INT_MAX, "Y", "宛先,\"引用\"@x", COleDateTime(2005, 1, 2, 3, 4, 5)};
    EXPECT_EQ(0, history.SetHDataFromStructToMemory(v));
    v = {9, "", 0, "", "", COleDateTime()};
    for (auto const& [id, set, code] : {std::tuple{9, 0, 0}, {8, 0, 5004}, {8, 1, 5004}, {INT_MIN, 1, 0}}) {
        ExpectFails(code ? -4 : 0, code, history.TransferState(id, v.State, set));
        ExpectFails(code ? -4 : 0, code, history.TransferRetryNum(id, v.RetryNumber, set));
        ExpectFails(code ? -4 : 0, code, history.TransferOpenFlag(id, v.OpenFlag, set));
        ExpectFails(code ? -4 : 0, code, history.TransferMessageID(id, v.MessageID, set));
        ExpectFails(code ? -4 : 0, code, history.TransferLastSendDate(id, v.LastSendDate, set));
    }
    CArray<HistorySet, HistorySet> rows;
    auto const got = [&](int first, int last) {
        Ids ids;
        int const count = history.GetHDataFromMemoryToStruct(rows, first, last);
        EXPECT_EQ(count, rows.GetSize());
        for (HistorySet const& row : rows) ids.push_back(row.CustomerID);
        return ids;
    };
    for (auto const& [first, last] : {std::pair{0, 0}, {3, 3}, {2, 1}, {INT_MAX, INT_MAX}})
        EXPECT_EQ(first ? Ids() : Ids{7}, got(first, last)) << first;
    EXPECT_EQ((Ids{INT_MIN, 9}), got(1, INT_MAX));
    for (auto const& [first, last] : {std::pair{0, 2}, {0, 3}, {-1, 0}, {1, -1}})
        EXPECT_EQ((Ids{7, INT_MIN, 9}), got(first, last)) << first;
    history.SetMailID(12, 0);
    for (HistorySet& row : rows) EXPECT_EQ(0, history.SetHDataFromStructToMemory(row));
    EXPECT_EQ(0, history.WriteHDataFromMemoryToFile());
    std::string const same =
        ",\"E\",\"2147483647\",\"Y\",\"宛先,\"\"引用\"\"@x\",\"2005/01/02 03:04:05\"\r\n";
    EXPECT_EQ("\"7\",\"W\",\"2147483647\",\"\",\"\",\"2004/05/06 07:08:09\"\r\n\"-2147483648\"" + same +
                  "\"9\"" + same,
              OnDisk());
}

TEST_F(HistoryTest, RetryRulesInTheirOrder) {
    int const customer = Add("a@x.jp");
    struct Case {
        char const *state, *retry, *deleted, *allowed, *limit;
        int even_if_complete, result, code;
    };
    static Case const cases[] = {
        {"C", "9", "Y", "N", "3", 0, -42, 5402}, {"C", "9", "", "N", "3", 0, -43, 5403},
        {"C", "9", "", "", "3", 0, -44, 5404},   {"C", "9", "", "", "3", 1, -41, 5401},
        {"C", "2", "", "Y", "3", 1, 0, 0},       {"C", "-1", "", "", "3", 1, -43, 5403},
        {"W", "3", "", "", "3", 0, -41, 5401},   {"W", "2", "", "n", "3", 0, 0, 0},
        {"W", "-1", "", "", "3", 0, -43, 5403},  {"W", "-1", "", "", "-1", 0, -41, 5401},
        {"W", "0", "", "", "", 0, -41, 5401},    {"?", "-2", "", "", "0", 0, 0, 0},
    };
    EXPECT_EQ(0, db.DeleteCustomer(customer));
    ExpectFails(-4, 5004, history.CheckRetrySendOK(customer, 0));
    Append(customer, "W", 0);
    for (Case const& c : cases) {
        SCOPED_TRACE(&c - cases);
        Allow(c.allowed, c.limit);
        history.SetElementToMemoryPinPoint(customer, 1, c.state);
        history.SetElementToMemoryPinPoint(customer, 2, c.retry);
        EXPECT_EQ(0, *c.deleted ? db.DeleteCustomer(customer) : db.UnDeleteCustomer(customer));
        ExpectFails(c.result, c.code, history.CheckRetrySendOK(customer, c.even_if_complete));
    }
    option.DeleteAllString();
    ExpectFails(-15, 5015, history.CheckRetrySendOK(customer, 0));
    Append(99, "W", 0);  // not in the customer table
    ExpectFails(-42, 5402, history.CheckRetrySendOK(99, 0));
}

TEST_F(HistoryTest, WhoIsAskedFor) {
    int const deleted = Add("d@x.jp"), wiped = Add("w@x.jp"), nameless = Add(""), live = Add("l@x.jp");
    EXPECT_EQ(0, db.DeleteCustomer(deleted) + db.PhysicalDeletion(wiped));
    // From 100 on they are not in the customer table.
    std::tuple<int, char const*, int> const rows[] = {
        {live, "W", 2}, {deleted, "W", 0}, {wiped, "E", 1}, {nameless, "C", 0}, {100, "W", 1},
        {101, "W", -1}, {102, "W", 3},     {103, "E", 1},   {104, "w", 1},      {105, "W", -2}};
    for (auto const& [id, state, retry] : rows) Append(id, state, retry);
    std::tuple<char const*, char const*, Ids> const settings[] = {
        {"Y", "3", {live, 100, 105}}, {"", "2", {100, 105}}, {"N", "3", {}}, {"Y", "", {105}}};
    for (auto const& [allowed, limit, ids] : settings) {
        Allow(allowed, limit);
        EXPECT_EQ(ids, Asked([&](auto& out) { return history.GetRetryAddress(out); })) << allowed << limit;
        EXPECT_EQ(Ids{103}, Asked([&](auto& out) { return history.GetErrorAddress(out); }));
    }
    CList<int, int> list;
    auto const items = [&] {
        Ids ids;
        for (POSITION place = list.GetHeadPosition(); place;) ids.push_back(list.GetNext(place));
        return ids;
    };
    std::tuple<int, int, Ids> const lists[] = {
        {0, 0, {live, deleted, wiped, nameless, 100, 101, 102, 103, 104, 105}},
        {0, 1, {nameless}},
        {1, 0, {live}},
        {1, 1, {}}};
    for (auto const& [check, complete, ids] : lists) {
        EXPECT_EQ(0, history.GetCustomerIDList(list, check, complete));
        EXPECT_EQ(ids, items()) << check << complete;
        history.GetCustomerIDListNotDBE(list, complete);
        EXPECT_EQ(std::get<2>(lists[complete]), items()) << complete;
    }
}

// After every change a look-up by Message-ID gives what a walk over the rows gives.
TEST_F(HistoryTest, MessageIdsLeadToTheirCustomers) {
    char const* const message_ids[] = {"", "a@x", "A@x", "a@x ", "表@x"};
    std::minstd_rand random(1);
    for (int step = 0; step < 300; ++step) {
        CString id = message_ids[random() % 5];
        int const rows = history.GetRecordNumber();
        int const known = rows ? 1000 - static_cast<int>(random()) % rows : 0;
        if (rows < 3 || random() % 3 == 0) Append(1000 - rows, "W", 0, "", id);
        history.SetElementToMemoryPinPoint(known, random() % 2 ? 4 : 1, id);
        history.TransferMessageID(known - 1, id, 1);
        if (step % 60 == 59) {  // the index is made anew
            ASSERT_EQ(0, history.WriteHDataFromMemoryToFile() + history.GetHDataFromFileToMemory(0, nullptr));
        }
        for (char const* const asked : message_ids) {
            Ids walk;
            for (int row = 0; row < history.GetRecordNumber(); ++row)
                if (history.GetStringElement(4, row) == asked) walk.push_back(1000 - row);
            ASSERT_EQ(walk, Asked([&](auto& out) { return history.GetCustomerIDFromMessageID(asked, out); }));
        }
    }
}

TEST_F(HistoryTest, Counts) {
    std::tuple<char const*, int, char const*, int, int, int> const cases[] = {
        {"W", -1, "", 0, 0, 0}, {"W", 1, "Y", 2, 2, 1}, {"E", 2, "N", 3, 3, 0}, {"C", 2, "Y", 3, 2, 1},
        {"C", 0, "y", 1, 0, 0}, {"c", 4, "Y", 0, 0, 1}, {"", 4, "", 0, 0, 0},   {"C", -1, "", 0, -1, 0}};
    auto const counted = [](History& h, int result) {
        int sent = 9, errors = 9, opened = 9, total = 9;
        EXPECT_EQ(result, h.GetNumOneMail(sent, errors, opened, total));
        EXPECT_EQ(0, h.GetErrMsg().GetLastCode());
        return Ids{sent, errors, opened, total};
    };
    Ids sum(4);
    History unselected;
    EXPECT_EQ(sum, counted(unselected, 0));
    for (auto const& [state, retry, flag, sent, errors, opened] : cases) {
        Append(sum[3], state, retry, flag);
        sum = {sum[0] + sent, sum[1] + errors, sum[2] + opened, sum[3] + 1};
        EXPECT_EQ(sum, counted(history, 1)) << state << retry;
    }
    Append(100, "E", INT_MAX);  // as from a damaged file
    EXPECT_EQ((Ids{INT_MAX, INT_MAX, sum[2], sum[3] + 1}), counted(history, 1));
}

}  // namespace
