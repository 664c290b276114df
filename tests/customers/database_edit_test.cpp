#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "customers/database_lock.h"
#include "tessaly/environment/sequencer.h"
#include "tessaly/platform/mbcs.h"
#include "tests/customers/customer_fixture.h"

using enum customers::Direction;
using enum environment::SeqIDType;
using enum storage::ErrorCode;
using enum storage::_MYDB_DATATYPE;

using namespace customers;

class DatabaseEditTest : public CustomerTest {};

TEST_F(DatabaseEditTest, StoresAndGivesBackACustomer) {
    OneCustomer customer;
    EXPECT_EQ(CDatabaseEdit::ok, db.GetOneCustomerForNew(customer, 1));
    EXPECT_EQ("Y", customer.DMOk);
    EXPECT_EQ("Y", customer.OtherOk);
    EXPECT_EQ(COleDateTime(2004, 5, 6, 7, 8, 9), customer.EntryDate);
    for (int element = 1; element < element_count; ++element)
        if (auto const member = DefinitionOf(element).member) (customer.*member).Format("値%d", element);
    customer.DMOk = customer.OtherOk = "N";
    customer.DeleteFlag = "";
    customer.Birthday = "1970/01/02 03:04:05";
    customer.ZipCode1 = "1\x81-23-4567-";  // a cut character does not shield a hyphen
    customer.EntryDate = customer.RenewalDate = COleDateTime(1999, 1, 1, 0, 0, 0);
    ASSERT_EQ(CDatabaseEdit::ok, db.SetOneCustomerInfo(customer, 0));
    EXPECT_EQ(0, customer.CustomerID);

    ExpectCells(0, {{0, "0"},
                    {9,
                     "1\x81"
                     "234567"},
                    {23, ""},
                    {27, ""},
                    {47, "値47"},
                    {48, ""},
                    {52, ""},
                    {54, now_text},
                    {55, now_text}});
    OneCustomer read;
    ASSERT_EQ(CDatabaseEdit::ok, db.GetOneCustomerForEdit(read, 0));
    for (int element = 1; element < element_count; ++element) {
        auto const member = DefinitionOf(element).member;
        if (!member || element == 9) continue;
        EXPECT_EQ(customer.*member, read.*member) << element;
    }
    EXPECT_EQ(COleDateTime(2004, 5, 6, 7, 8, 9), read.EntryDate);

    // An edit keeps the given registration time and sets the update time.
    Advance();
    read.KanjiMei = "新";
    read.RenewalDate = COleDateTime(1980, 1, 1, 0, 0, 0);
    ASSERT_EQ(CDatabaseEdit::ok, db.SetOneCustomerInfo(read, 0));
    ExpectCells(0, {{3, "新"}, {54, now_text}, {55, later_text}});
    EXPECT_EQ(1, db.GetLineNumber());

    // Too long a date and garbage in the row.
    db.SetAtElement(0, 8, "1970/01/02 03:04:05 and more");
    for (int flag : {21, 22, 53}) db.SetAtElement(0, flag, "YES");
    db.SetAtElement(0, 54, "2001/02/03 04:05:06.789");
    db.SetAtElement(0, 55, "no date");
    ASSERT_EQ(CDatabaseEdit::ok, db.GetOneCustomerForEdit(read, 0));
    EXPECT_EQ("1970/01/02 03:04:05", read.Birthday);
    for (CString const& flag : {read.DMOk, read.OtherOk, read.DeleteFlag}) EXPECT_EQ("Y", flag);
    EXPECT_EQ(COleDateTime(2001, 2, 3, 4, 5, 6), read.EntryDate);
    EXPECT_EQ(COleDateTime(), read.RenewalDate);
}

TEST_F(DatabaseEditTest, DeletesRestoresAndWipes) {
    for (char const* address : {"a@example.jp", "b@example.jp", "c@example.jp"}) Add(address, "姓");
    Advance();
    CArray<int, int> ids;
    ASSERT_EQ(CDatabaseEdit::ok, db.DeleteCustomer(1));
    EXPECT_EQ(2, db.GetDBIDWithoutDelete(ids));
    EXPECT_EQ((std::vector{0, 2}), Items(ids));
    EXPECT_EQ(1, db.GetDeleteCustomerList(ids));
    EXPECT_EQ((std::vector{1}), Items(ids));
    EXPECT_EQ(3, db.GetDBIDALL(ids));
    EXPECT_EQ(0, db.FindCustomerID(1, 0));
    EXPECT_EQ(1, db.FindCustomerID(1, 1));
    EXPECT_EQ(later_text, Value(1, 55));
    EXPECT_EQ("姓", Value(1, 2));
    ASSERT_EQ(CDatabaseEdit::ok, db.UnDeleteCustomer(1));
    EXPECT_EQ(1, db.FindCustomerID(1, 0));

    ASSERT_EQ(CDatabaseEdit::ok, db.PhysicalDeletion(2));
    for (int element = 1; element < 53; ++element)
        EXPECT_EQ(element == 21 || element == 22 ? "N" : "", Value(2, element)) << element;
    EXPECT_EQ("Y", Value(2, 53));
    EXPECT_EQ(now_text, Value(2, 54));
    EXPECT_EQ(3, db.GetDBIDALL(ids));
    EXPECT_EQ(3, Add("d@example.jp"));  // the wiped row keeps its ID
    ASSERT_EQ(CDatabaseEdit::ok, db.UnDeleteCustomer(2));
    EXPECT_EQ(1, db.FindCustomerID(2, 0));
    EXPECT_EQ("", Value(2, 1));

    for (int const result : {db.DeleteCustomer(9), db.UnDeleteCustomer(9), db.PhysicalDeletion(9)})
        EXPECT_EQ(CDatabaseEdit::no_such_customer, result);
    EXPECT_EQ(customer_no_such_id, LastError());
}

TEST_F(DatabaseEditTest, GivesEveryIDOnce) {
    EXPECT_EQ(0, Add("a@example.jp"));
    Sequencer sequence(&env, seq_customer);
    OneCustomer salvaged;
    for (int id : {1, 2, 4}) {
        salvaged.CustomerID = id;
        ASSERT_EQ(CDatabaseEdit::ok, db.SetOneCustomerInfoForRepair(salvaged));
    }
    EXPECT_EQ(CDatabaseEdit::no_match, db.DBID2RowNumber(4));  // repair leaves the index
    db.MakeIndex();
    EXPECT_EQ(3, db.GetNewDBID());
    EXPECT_EQ(5, db.GetNewDBID());

    // After 200 used values in a row the search ends.
    for (int id = 6; id < 206; ++id) {
        salvaged.CustomerID = id;
        db.SetOneCustomerInfoForRepair(salvaged);
    }
    db.MakeIndex();
    OneCustomer customer;
    EXPECT_EQ(CDatabaseEdit::no_new_id, db.SetOneCustomerInfo(customer, 0));
    EXPECT_EQ(customer_new_id_failed, LastError());
    EXPECT_EQ(204, db.GetLineNumber());
    EXPECT_EQ(206, db.GetNewDBID());
    sequence.SetValue(9'999'999);
    EXPECT_EQ(CDatabaseEdit::no_new_id, db.GetNewDBID());

    salvaged.CustomerID = -7;  // a salvaged row is stored as it is
    salvaged.ZipCode1 = "1-2";
    salvaged.EntryDate = COleDateTime(2001, 1, 2, 3, 4, 5);
    ASSERT_EQ(CDatabaseEdit::ok, db.SetOneCustomerInfoForRepair(salvaged));
    db.MakeIndex();
    ExpectCells(-7, {{0, "-7"}, {9, "1-2"}, {54, "2001/01/02 03:04:05"}, {55, "1899/12/30 00:00:00"}});
}

// Edits, new customers and imports between changes that the index does not follow.
TEST_F(DatabaseEditTest, KeepsTheIndexRight) {
    for (int i = 0; i < 40; ++i) Add("a@example.jp");
    ExpectIndexIsRight(45);
    db.DeleteCustomer(7);
    db.PhysicalDeletion(8);
    ExpectIndexIsRight(45);

    db.RemoveLine(3);
    db.SetAtElement(0, 0, 30);  // two rows have the ID 30, of which the later one counts
    Add("b@example.jp");        // rebuilds the index, as one of the indexes is out of date
    ExpectIndexIsRight(45);
    EXPECT_EQ(CDatabaseEdit::no_match, db.DBID2RowNumber(0));
    EXPECT_EQ(29, db.DBID2RowNumber(30));

    db.SetAtElement(5, 0, 100);
    db.DeleteCustomer(7);
    ExpectIndexIsRight(105);
    EXPECT_EQ(100, db.GetMaxDBID());

    db.Sort(0, mydb_number, 0);
    EXPECT_EQ(0, db.SetElementOneCustomerTemp("x", 1));
    db.SortByCustomerID();
    db.MakeIndex();
    ExpectIndexIsRight(105);
    EXPECT_EQ(1, db.DBID2RowNumber(2));

    db.RemoveAll(1);
    db.MakeIndex();
    EXPECT_EQ(CDatabaseEdit::no_match, db.DBID2RowNumber(100));
    EXPECT_EQ(100, db.GetMaxDBID());  // never decreases
}

// An index out of date names rows that do not exist; nothing may be read there.
TEST_F(DatabaseEditTest, LooksUpNothingBehindTheTable) {
    for (int i = 0; i < 10; ++i) Add("a@example.jp");
    EXPECT_EQ(0, db.SearchCustomerOneElement(1, "A@example.jp", -1, direction_forward));
    db.RemoveAll(0);
    OneCustomer customer;
    CString value = "old";
    EXPECT_EQ(CDatabaseEdit::no_match, db.DBID2RowNumber(5));
    EXPECT_EQ(CDatabaseEdit::no_such_customer, db.GetOneCustomerForEdit(customer, 5));
    EXPECT_EQ(CDatabaseEdit::unknown_id, db.GetCustomerDataPinPoint(5, 1, value));
    EXPECT_EQ("old", value);
    EXPECT_EQ(0, db.FindCustomerID(5, 1));
    EXPECT_EQ(CDatabaseEdit::no_match, db.SearchCustomerOneElement(1, "a@example.jp", -1, direction_forward));
    db.Init();
    db.SetElementNumber(1);
    XCStringArrayEx narrow(1);
    for (int i = 0; i < 10; ++i) db.AddLine(narrow);
    EXPECT_EQ(CDatabaseEdit::ok, db.GetCustomerDataPinPoint(5, 55, value));
    EXPECT_EQ("", value);
    EXPECT_EQ(CDatabaseEdit::search_failed, db.SearchCustomerOneElement(1, "a", -1, direction_backward));
    EXPECT_EQ(customer_unexpected, LastError());
    EXPECT_EQ(CDatabaseEdit::row_refused, db.DeleteCustomer(5));
    EXPECT_EQ(customer_update_in_memory_failed, LastError());
    CArray<int, int> restored, conflicts;
    CDatabaseEdit empty;
    empty.RestoreFromOtherDBE(db, restored, conflicts);
    EXPECT_EQ(10, db.GetDBCountWithoutDelete());
}

TEST_F(DatabaseEditTest, SearchesOneElementBothWays) {
    struct Row {
        char const* address;
        char const* family;
    };
    Row const rows[] = {{"x@example.jp", "Ａｂ"}, {"b@example.jp", "ab"},
                        {"B@EXAMPLE.jp", "表"},   {"", "AB"},
                        {"b@example.jp", ""},     {"", "ａＢ"}};
    for (Row const& row : rows) Add(row.address, row.family);
    db.DeleteCustomer(4);
    auto const look = [&](int element, char const* text, int row, int step) {
        for (row += step; row >= 0 && row < 6; row += step)
            if (platform::EqualNoCase(db.GetAtElement(row, element).View(), text)) return row;
        return -1;
    };
    for (char const* text : {"b@EXAMPLE.JP", "", "none@example.jp", "aB", "ＡＢ", "表"}) {
        for (int element : {1, 2}) {
            for (int start = -1; start < 6; ++start) {
                EXPECT_EQ(look(element, text, start, 1),
                          db.SearchCustomerOneElement(element, text, start, direction_forward))
                    << element << text << start;
                EXPECT_EQ(look(element, text, start < 0 ? 6 : start, -1),
                          db.SearchCustomerOneElement(element, text, start, direction_backward))
                    << element << text << start;
            }
        }
    }
    struct Case {
        int element, start, direction, result, error;
    };
    Case const cases[] = {{56, 99, 7, -2, customer_bad_element_number},
                          {-1, -1, 0, -2, customer_bad_element_number},
                          {1, 99, 7, -6, customer_no_such_id},
                          {1, 1, 2, -7, customer_bad_search_direction},
                          {1, -1, -1, -7, customer_bad_search_direction}};
    for (Case const& c : cases) {
        EXPECT_EQ(c.result,
                  db.SearchCustomerOneElement(c.element, "a", c.start, static_cast<Direction>(c.direction)));
        EXPECT_EQ(c.error, LastError());
    }
    // By address at once after any change of the rows.
    db.SetAtElement(0, 1, "b@example.jp");
    EXPECT_EQ(0, db.SearchCustomerOneElement(1, "b@example.jp", -1, direction_forward));
    db.PhysicalDeletion(0);
    EXPECT_EQ(1, db.SearchCustomerOneElement(1, "b@example.jp", -1, direction_forward));
    Add("b@example.jp");
    EXPECT_EQ(6, db.SearchCustomerOneElement(1, "b@example.jp", -1, direction_backward));
}

TEST_F(DatabaseEditTest, GivesOneElementAndTheWorkRow) {
    Add("a@example.jp");
    struct Case {
        int id, element, plain, reported, error;
    };
    Case const cases[] = {{0, 1, 0, 0, 0},
                          {0, 56, -2, -2, customer_bad_element_number},
                          {9, -1, -2, -2, customer_bad_element_number},
                          {9, 1, -1, -6, customer_no_such_id}};
    for (Case const& c : cases) {
        CString value = "old";
        db.GetErrMsg().Clear();
        EXPECT_EQ(c.plain, db.GetCustomerDataPinPoint(c.id, c.element, value));
        EXPECT_EQ(c.plain == 0 ? "a@example.jp" : "old", value);
        EXPECT_EQ(error_none, LastError());
        EXPECT_EQ(c.reported, db.GetOneCustomerDataPinPoint(value, c.element, c.id));
        EXPECT_EQ(c.plain == 0 ? "a@example.jp" : "", value);
        EXPECT_EQ(c.error, LastError());
    }
    EXPECT_EQ(CDatabaseEdit::ok, db.SetElementOneCustomerTemp("x", 55));
    EXPECT_EQ("x", db.GetOneCustomerTemp(55));
    for (int element : {56, -1}) {
        EXPECT_EQ("", db.GetOneCustomerTemp(element));
        EXPECT_EQ(CDatabaseEdit::bad_element, db.SetOneCustomerTemp(element, "x"));
    }
}

TEST_F(DatabaseEditTest, ReadsAndWritesItsFile) {
    EXPECT_EQ(CMyDB::db_file_not_found, db.ReadCustomerList());
    ASSERT_TRUE(platform::WriteWholeFile(DatabasePath(), ""));
    EXPECT_EQ(0, db.ReadCustomerList());
    Add("a@example.jp", "表\"姓\",\r\n");
    OneCustomer second;
    second.Email = "b@example.jp";
    EXPECT_EQ(CDatabaseEdit::ok, db.SetOneCustomerInfo(second, 1));
    EXPECT_EQ(std::string::npos, ReadFile(DatabasePath()).find("a@example.jp"));

    CDatabaseEdit again(&env, &option);
    ASSERT_EQ(2, again.ReadCustomerList());
    EXPECT_EQ("表\"姓\",\r\n", again.GetCustomerDataPinPoint(0, 2));
    EXPECT_EQ(1, again.GetMaxDBID());
    EXPECT_EQ(DatabasePath(), again.GetDBFilePath());

    std::string const file = ReadFile(DatabasePath());
    ASSERT_TRUE(platform::WriteWholeFile(DatabasePath(), file + file.substr(0, 40) + "\r\n"));
    EXPECT_EQ(2, again.ReadCustomerList());  // a malformed record behind the first ends the table
    CMyDB narrow(55);
    narrow.SetDBFilePath(DatabasePath());
    narrow.AddLine(XCStringArrayEx(55));
    ASSERT_EQ(0, narrow.WriteDBFile(1, env.GetDBKey()));
    EXPECT_EQ(CMyDB::db_bad_cell_count, again.ReadCustomerList());
    EXPECT_EQ(CDatabaseEdit::no_match, again.DBID2RowNumber(0));
    EXPECT_EQ(CDatabaseEdit::not_bound, CDatabaseEdit().ReadCustomerList());

    EnvManager plain;
    ASSERT_EQ(EnvManager::ok, plain.InitEnvFileInfo(env_path, nullptr, 0));
    CDatabaseEdit unscrambled(&plain);
    unscrambled.ReadCustomerList();
    unscrambled.RemoveAll(1);
    second.CustomerID = OneCustomer::no_id;
    ASSERT_EQ(CDatabaseEdit::ok, unscrambled.SetOneCustomerInfo(second, 1));
    EXPECT_EQ(1, db.ReadFromFileToMemoryAppointFileName(DatabasePath(), nullptr));
}

TEST_F(DatabaseEditTest, LeavesTheChangedFlagWhereItWritesElsewhere) {
    ASSERT_TRUE(platform::WriteWholeFile(DatabasePath(), ""));
    db.ReadCustomerList();
    Add("a@example.jp");
    CString const copy = folder.Path("copy.dat");
    EXPECT_EQ(CDatabaseEdit::ok, db.WriteFromMemoryToFileAppointFileName(copy, "other key"));
    EXPECT_EQ(DatabasePath(), db.GetDBFilePath());
    EXPECT_EQ("", ReadFile(DatabasePath()));
    EXPECT_EQ(CDatabaseEdit::ok, db.WriteFromMemoryToFile());
    EXPECT_NE("", ReadFile(DatabasePath()));
    ASSERT_TRUE(platform::WriteWholeFile(DatabasePath(), "unchanged rows are not written"));
    EXPECT_EQ(CDatabaseEdit::ok, db.WriteFromMemoryToFile());
    EXPECT_EQ("unchanged rows are not written", ReadFile(DatabasePath()));

    Add("b@example.jp");
    EXPECT_EQ(1, db.ReadFromFileToMemoryAppointFileName(copy, "other key"));
    EXPECT_EQ(DatabasePath(), db.GetDBFilePath());
    EXPECT_EQ(CDatabaseEdit::no_match, db.DBID2RowNumber(1));  // its row is gone
    EXPECT_EQ(CMyDB::db_file_not_found,
              db.ReadFromFileToMemoryAppointFileName(folder.Path("no.dat"), nullptr));
    EXPECT_EQ(1, db.GetLineNumber());
    EXPECT_EQ(CDatabaseEdit::ok, db.WriteFromMemoryToFile());
    EXPECT_EQ(1, db.ReadCustomerList());
    EXPECT_EQ(0, db.ReadFromFileToMemoryAppointFileName(WriteFile("empty.dat", ""), nullptr));
    EXPECT_EQ(0, db.GetLineNumber());
}

TEST_F(DatabaseEditTest, FailedWritesKeepTheRowsUnsaved) {
    ASSERT_TRUE(platform::WriteWholeFile(DatabasePath(), ""));
    db.ReadCustomerList();
    OneCustomer customer;
    EXPECT_EQ(CDatabaseEdit::ok, db.GetOneCustomerForEdit(customer, Add("a@example.jp")));
    platform::FailWritesAfter(0);
    EXPECT_EQ(CDatabaseEdit::ok, db.SetOneCustomerInfo(customer, 1));
    EXPECT_EQ(customer_file_write_failed, LastError());
    EXPECT_EQ(CDatabaseEdit::not_written, db.WriteFromMemoryToFile());
    EXPECT_EQ(CDatabaseEdit::not_written,
              db.WriteFromMemoryToFileAppointFileName(folder.Path("copy.dat"), nullptr));
    platform::FailWritesAfter(-1);
    EXPECT_EQ(CDatabaseEdit::ok, db.WriteFromMemoryToFile());
    EXPECT_EQ(1, CDatabaseEdit(&env).ReadCustomerList());

    // Without its key the environment's file is neither read nor written over.
    EnvManager stranger;
    stranger.InitEnvFileInfo(env_path, "wrong application key", 0);
    CDatabaseEdit locked(&stranger);
    std::string const before = ReadFile(DatabasePath());
    EXPECT_EQ(CDatabaseEdit::key_missing, locked.ReadCustomerList());
    customer.CustomerID = OneCustomer::no_id;
    EXPECT_EQ(CDatabaseEdit::ok, locked.SetOneCustomerInfo(customer, 1));
    EXPECT_EQ(CDatabaseEdit::not_written, locked.WriteFromMemoryToFile());
    EXPECT_EQ(before, ReadFile(DatabasePath()));
}

TEST_F(DatabaseEditTest, BindsOnceAndRefusesNull) {
    CDatabaseEdit table;
    OneCustomer customer;
    EXPECT_EQ(CDatabaseEdit::no_environment, table.SetOneCustomerInfo(customer, 0));
    EXPECT_EQ(customer_environment_not_set, table.GetErrMsg().GetLastCode());
    EXPECT_EQ(CDatabaseEdit::no_environment, table.SetOneCustomerInfoForRepair(customer));
    EXPECT_EQ(CDatabaseEdit::no_environment, table.WriteFromMemoryToFile());
    EXPECT_EQ(CDatabaseEdit::no_new_id, table.GetNewDBID());
    EXPECT_EQ(-1, table.GetMaxDBID());
    SystemOption late;
    EXPECT_EQ(0, table.SetSystemOption(nullptr));
    EXPECT_EQ(1, table.SetSystemOption(&late));
    EXPECT_EQ(0, table.SetEnvManager(nullptr));
    EXPECT_EQ(1, table.SetEnvManager(&env));
    EXPECT_EQ(0, table.SetEnvManager(&env));
    EXPECT_EQ(0, late.SetEnvManager(&env));  // it got one with the table
    EXPECT_EQ(&env, table.GetEnvManager());

    static std::vector<std::string> shown;
    shown.clear();
    SetMessageBoxHandler(
        [](void*, char const* text, char const* title, unsigned type) {
            shown.push_back(std::string(text) + "|" + (title ? title : "") + "|" + std::to_string(type));
            return IDOK;
        },
        nullptr);
    EXPECT_THROW(CDatabaseEdit{nullptr}, CUserException);
    EXPECT_THROW(CDatabaseEdit(nullptr, &option), CUserException);
    EXPECT_THROW(CDatabaseEdit(&env, nullptr), CUserException);
    SetMessageBoxHandler(nullptr, nullptr);
    EXPECT_EQ((std::vector<std::string>{"環境の設定に失敗しました||0", "環境の設定に失敗しました|設定失敗|16",
                                        "システム設定の設定に失敗しました|設定失敗|16"}),
              shown);
}

// The owner of the mutex may call every operation; others wait, also in another process.
TEST_F(DatabaseEditTest, ExcludesOtherThreadsAndProcesses) {
    Add("a@example.jp");
    std::atomic<bool> done = false;
    std::thread other;
    {
        DatabaseLock const lock;
        EXPECT_EQ(0, db.DBID2RowNumber(0));
        other = std::thread([&] {
            db.DBID2RowNumber(0);
            done = true;
        });
        db.SetStopImportFlag(1);
        pid_t const child = fork();
        if (child == 0) {
            CMutex mutex(false, "DATABASE_EDIT_MUTEX");
            _exit(mutex.Lock(20) ? 1 : 0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, status);
        EXPECT_FALSE(done);
    }
    other.join();
    EXPECT_TRUE(done);
}
