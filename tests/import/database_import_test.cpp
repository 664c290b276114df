#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "platform/file.h"
#include "tessaly/environment/sequencer.h"
#include "tests/customers/customer_fixture.h"

using enum customers::Direction;
using enum environment::SeqIDType;
using enum storage::ErrorCode;

using namespace customers;

class DatabaseImportTest : public CustomerTest {
  protected:
    // Column 0 is the address, and the further columns feed these elements.
    int Import(std::string_view content, std::vector<int> more = {2}, int add = 1,
               char const* duplicate = "1") {
        CArray<int, int> columns;
        columns.SetSize(element_count);
        for (int& column : columns) column = -1;
        columns[1] = 0;
        for (std::size_t i = 0; i < more.size(); ++i) columns[more[i]] = static_cast<int>(i) + 1;
        imported = -1;
        return db.ImportDBfromFile(WriteFile("import.csv", content), ",", '"', columns, add, &imported, lines,
                                   texts, duplicate);
    }
    int Find(char const* address) { return db.SearchCustomerOneElement(1, address, -1, direction_forward); }

    int imported = -1;
    CArray<int, int> lines;
    CArray<CString, CString> texts;
};

TEST_F(DatabaseImportTest, AddsNewCustomers) {
    EXPECT_EQ(0, Add("first@example.jp"));
    Advance();
    EXPECT_EQ(2, Import("題名,名\r\na@example.jp,佐藤\r\n\r\nB@example.jp,\"表,\"\"x\"\"\"", {2}));
    EXPECT_EQ(2, imported);
    EXPECT_EQ((std::vector{1, 3}), Items(lines));
    EXPECT_EQ("題名,名", texts[0]);
    EXPECT_EQ("", texts[1]);
    ASSERT_EQ(3, db.GetLineNumber());
    ExpectCells(2, {{0, "2"},
                    {1, "B@example.jp"},
                    {2, "表,\"x\""},
                    {3, ""},
                    {21, "Y"},
                    {22, "Y"},
                    {53, ""},
                    {54, later_text},
                    {55, later_text}});
    ExpectIndexIsRight(5);
    EXPECT_EQ(2, db.GetMaxDBID());
    EXPECT_EQ("3", Sequence());
    EXPECT_EQ(2, Find("b@EXAMPLE.JP"));
}

TEST_F(DatabaseImportTest, UpdatesKnownCustomers) {
    Add("Known@example.jp", "佐藤");
    Add("deleted@example.jp", "鈴木");
    Add("twice@example.jp", "前");
    Add("TWICE@example.jp", "後");
    db.DeleteCustomer(1);
    db.SetAtElement(0, 21, "N");
    db.SetAtElement(0, 5, "めい");
    Advance();
    EXPECT_EQ(4, Import("known@EXAMPLE.jp,高橋,\nDELETED@example.jp,鈴木,Y\ntwice@example.jp,新,N\n"
                        "known@EXAMPLE.jp,田中,bad\n",
                        {2, 21}));
    EXPECT_EQ(0, lines.GetSize());
    // Neither an empty nor a bad field changes element 21.
    ExpectCells(0, {{0, "0"},
                    {1, "known@EXAMPLE.jp"},
                    {2, "田中"},
                    {5, "めい"},
                    {21, "N"},
                    {54, now_text},
                    {55, later_text}});
    EXPECT_EQ(1, db.FindCustomerID(1, 0));
    EXPECT_EQ("前", Value(2, 2));
    EXPECT_EQ("新", Value(3, 2));
    EXPECT_EQ(4, db.GetLineNumber());
    ExpectIndexIsRight(6);

    // Assigned and empty clears; a line that is too short does not assign.
    EXPECT_EQ(2, Import("known@example.jp,\ntwice@example.jp\n", {2}));
    EXPECT_EQ("", Value(0, 2));
    EXPECT_EQ("新", Value(3, 2));
}

TEST_F(DatabaseImportTest, KeepsKnownCustomersOnRequest) {
    Add("known@example.jp", "佐藤");
    Add("deleted@example.jp");
    db.DeleteCustomer(1);
    EXPECT_EQ(1, Import("known@example.jp,x\nnew@example.jp,a\nNEW@example.jp,b\ndeleted@example.jp,x\n"
                        "known@example.jp,x,bad\n",
                        {2, 53}, 1, "2"));
    EXPECT_EQ((std::vector{5}), Items(lines));  // the checks come first
    EXPECT_EQ("佐藤", Value(0, 2));
    EXPECT_EQ("a", Value(2, 2));
    EXPECT_EQ("new@example.jp", Value(2, 1));
    EXPECT_EQ(0, db.FindCustomerID(1, 0));
    EXPECT_EQ(2, Import("once@example.jp,a\nONCE@example.jp,b\n"));
    EXPECT_EQ("b", Value(3, 2));
    EXPECT_EQ("ONCE@example.jp", Value(3, 1));
}

// Values behind element 1 override those that the address has set; the one before it is never used.
TEST_F(DatabaseImportTest, TakesFieldsInTheOrderOfTheElements) {
    std::string const line = ",77,N,,Y,2001/2/3,2002/3/4 5\n";
    EXPECT_EQ(1, Import("a@example.jp" + line, {0, 21, 22, 53, 54, 55}));
    EXPECT_EQ(1, Import("A@example.jp" + line, {0, 21, 22, 53, 54, 55}));
    EXPECT_EQ(1, db.GetLineNumber());
    ExpectCells(0, {{0, "0"}, {21, "N"}, {22, ""}, {53, "Y"}, {54, "2001/02/03"}, {55, "2002/03/04 05"}});
    EXPECT_EQ(0, Import("a@example.jp,x\n", {0}));
    EXPECT_EQ((std::vector{1}), Items(lines));
}

TEST_F(DatabaseImportTest, RefusesLinesWhole) {
    Add("known@example.jp", "佐藤");
    std::vector<int> const elements = {2, 8, 9, 15, 21, 29, 30, 53};
    struct Case {
        char const* line;
        char const* refused;  // "ELEMENT=FIELD ..."; empty: accepted
    };
    Case const cases[] = {
        {"a@example.jp,x,1970/1/1,123-4567,03-1,Y,5,2004/1/2 3,Y", ""},
        {"b@example.jp,x,1970/1,1,1,Y,5,,", "8=1970/1 "},
        {"b@example.jp,x,,1x,1,Y,5,,", "9=1x "},
        {"b@example.jp,x,,1,zero,Y,5,,", "15=zero "},
        {"b@example.jp,x,,1,1,YY,5,,", "21=YY "},
        {"b@example.jp,x,,1,1,,five,,", "29=five "},
        {"b@example.jp,x,,1,1,,5,soon,", "30=soon "},
        {"b@example.jp,x,,1,1,,5,,N", "53=N "},
        {"known@example.jp,x,,1,zero,,5,,", "15=zero "},
        {"known@example.jp,y,,1,1,YY,5,,", ""},
        // An accepted field is no reason; nor is bad direct mail of a known customer.
        {"known@example.jp,y,soon,\"1\"\"\",zero,YY,5,2004/1/2", "8=soon 9=1\" 15=zero "},
        {"b@example.jp,x,soon,1,1,YY,five", "8=soon 21=YY 29=five "},
        {"no address,x,,1x,1,YY", "1=no address 9=1x 21=YY "},
        {",x,,1,1,Y,5,,", "1= "},
        {"", "1= "},
        {"c@example.jp", ""},
    };
    std::string content;
    std::vector<int> refused;
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        content += cases[i].line + std::string("\n");
        if (*cases[i].refused) refused.push_back(static_cast<int>(i) + 1);
    }
    EXPECT_EQ(3, Import(content, elements));
    std::string fields[std::size(cases)];
    for (RefusedField const& field : db.GetRefusedFields()) {
        fields[field.line - 1] += std::to_string(field.element) + "=" + std::string(field.value.View()) + " ";
    }
    for (std::size_t i = 0; i < std::size(cases); ++i) EXPECT_EQ(cases[i].refused, fields[i]) << i;
    EXPECT_EQ(refused, Items(lines));
    ASSERT_EQ(static_cast<int>(refused.size()), texts.GetSize());
    for (int i = 0; i < texts.GetSize(); ++i) EXPECT_EQ(cases[lines[i] - 1].line, texts[i]);
    EXPECT_EQ("123-4567", Value(1, 9));
    EXPECT_EQ("1970/01/01 00:00:00", Value(1, 8));
    EXPECT_EQ("2004/01/02 03", Value(1, 30));
    EXPECT_EQ("y", Value(0, 2));
    EXPECT_EQ("Y", Value(0, 21));
    EXPECT_EQ("Y", Value(2, 21));
    EXPECT_EQ(3, db.GetLineNumber());
    EXPECT_EQ("3", Sequence());
}

TEST_F(DatabaseImportTest, ReplacesTheTable) {
    for (int i = 0; i < 3; ++i) Add("a@example.jp");
    EXPECT_EQ(0, Import("no address\nno other\n", {2}, 0));
    EXPECT_EQ(0, db.GetLineNumber());
    EXPECT_EQ(CDatabaseEdit::no_match, db.DBID2RowNumber(0));
    EXPECT_EQ(1, Import("a@example.jp", {2}, 0));
    EXPECT_EQ(0, db.DBID2RowNumber(3));  // IDs go on
    EXPECT_EQ(1, db.GetLineNumber());
}

TEST_F(DatabaseImportTest, EndsEarlyInOrder) {
    Add("a@example.jp");
    CArray<int, int> columns;
    CString const path = WriteFile("a.csv", "x\n");
    CDatabaseEdit unbound;
    CDatabaseEdit without_options(&env);
    SystemOption empty_options;
    CDatabaseEdit with_empty_options(&env, &empty_options);
    lines.Add(1);
    imported = 7;
    struct Case {
        CDatabaseEdit* table;
        CString path;
        int result, error;
    };
    Case const cases[] = {{&unbound, "", -12, customer_environment_not_set},
                          {&without_options, "", -14, customer_system_option_not_set},
                          {&with_empty_options, "", -17, customer_system_option_failed},
                          {&db, folder.Path("missing.csv"), -41, customer_import_open_failed},
                          {&db, folder.Path(), -41, customer_import_open_failed},
                          {&db, "", -41, customer_import_open_failed}};
    for (Case const& c : cases) {
        EXPECT_EQ(c.result,
                  c.table->ImportDBfromFile(c.path, ",", 0, columns, 0, &imported, lines, texts, ""));
        EXPECT_EQ(c.error, c.table->GetErrMsg().GetLastCode());
    }
    EXPECT_EQ(7, imported);
    EXPECT_EQ(1, lines.GetSize());
    EXPECT_EQ(1, db.GetLineNumber());  // the replaced table is dropped only when the run begins
    // No columns at all, and more of them than elements: every line is refused, nothing is touched beyond the
    // row.
    EXPECT_EQ(0, db.ImportDBfromFile(path, ",", 0, columns, 1, nullptr, lines, texts, ""));
    EXPECT_EQ((std::vector{1}), Items(lines));
    ASSERT_EQ(1, db.GetRefusedFields().GetSize());
    EXPECT_EQ(element_address, db.GetRefusedFields()[0].element);
    columns.SetSize(60);
    EXPECT_EQ(0, db.ImportDBfromFile(path, "", 0, columns, 1, &imported, lines, texts, ""));
    EXPECT_EQ(0, imported);
}

TEST_F(DatabaseImportTest, EndsWhenTheIDsDo) {
    Add("a@example.jp");
    Sequencer sequence(&env, seq_customer);
    sequence.SetValue(9'999'997);
    EXPECT_EQ(CDatabaseEdit::import_failed,
              Import("b@example.jp\na@example.jp\nc@example.jp\nd@example.jp\n"));
    EXPECT_EQ(customer_new_id_failed, LastError());
    EXPECT_EQ(3, imported);  // they stay in memory, and the index knows them
    EXPECT_EQ(3, db.GetLineNumber());
    EXPECT_EQ(2, db.DBID2RowNumber(9'999'998));
    db.SetAtElement(0, 0, 9'999'999);
    EXPECT_EQ(CDatabaseEdit::import_failed, Import("e@example.jp\n", {2}, 0));
    EXPECT_EQ(3, db.GetLineNumber());  // no ID above the largest: the run does not begin
    EXPECT_EQ("9999999", Sequence());

    db.Init();
    db.SetElementNumber(3);
    sequence.SetValue(10);
    db.AddLine(XCStringArrayEx(3));
    db.SetAtElement(0, 1, "a@example.jp");
    for (char const* line : {"a@example.jp", "b@example.jp"}) {
        EXPECT_EQ(CDatabaseEdit::import_failed, Import(line));
        EXPECT_EQ(1, db.GetLineNumber());
    }
}

TEST_F(DatabaseImportTest, TakesHostileFiles) {
    std::string binary;
    for (int i = 0; i < 70000; ++i) binary += static_cast<char>(i * 7 + i / 256);
    Import(binary);
    EXPECT_EQ(0, imported);
    EXPECT_EQ(0, Import(std::string(3 << 20, ',')));
    EXPECT_EQ(0, Import(std::string(3 << 20, '"')));
    EXPECT_EQ(0, Import(""));
    using namespace std::string_literals;
    EXPECT_EQ(2, Import("a@example.jp,x\0y\nb@example.jp,\x81"s));
    EXPECT_EQ("x", Value(0, 2));
    EXPECT_EQ("\x81", Value(1, 2));
    CString const closed = WriteFile("closed.csv", "c@example.jp\n");
    if (geteuid() == 0) return;  // root may read everything
    chmod(folder.Host("closed.csv").c_str(), 0);
    CArray<int, int> columns;
    EXPECT_EQ(-41, db.ImportDBfromFile(closed, ",", 0, columns, 1, &imported, lines, texts, ""));
}

// The input never ends by itself: only the flag ends the run, once the count shows that it is under way.
TEST_F(DatabaseImportTest, StopsBeforeTheNextLine) {
    std::string const fifo = folder.Host("endless.csv");
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    signal(SIGPIPE, SIG_IGN);
    std::atomic_ref<int> count(imported);
    std::thread feeder([&] {
        int const pipe = open(fifo.c_str(), O_WRONLY);
        std::string line;
        for (int i = 0; i < 50'000'000; ++i) {
            line = "c" + std::to_string(i) + "@example.jp,x\n";
            if (write(pipe, line.data(), line.size()) < 0) break;
            if (count > 0) db.SetStopImportFlag(1);
        }
        close(pipe);
    });
    CArray<int, int> columns;
    columns.Add(-1);
    columns.Add(0);
    int const result =
        db.ImportDBfromFile(folder.Path("endless.csv"), ",", 0, columns, 1, &imported, lines, texts, "");
    feeder.join();
    EXPECT_LT(0, result);
    EXPECT_EQ(imported, result);
    EXPECT_EQ(result, db.GetLineNumber());
    EXPECT_EQ(result - 1, db.DBID2RowNumber(result - 1));
    EXPECT_EQ(1, Import("another@example.jp\n"));  // starts with the flag cleared
}

TEST_F(DatabaseImportTest, SamplesLines) {
    CString const path = WriteFile("sample.csv", "題名\r\n\r\na,b\n\nlast");
    struct Case {
        int limit;
        int size;
    };
    Case const cases[] = {{-1, 3}, {0, 0}, {1, 1}, {2, 1}, {3, 2}, {4, 2}, {5, 3}, {99, 3}};
    for (Case const& c : cases) EXPECT_EQ(c.size, db.LoadSampleLine(path, texts, c.limit)) << c.limit;
    EXPECT_EQ("題名", texts[0]);
    EXPECT_EQ("last", texts[2]);
    EXPECT_EQ(4, db.GetRecordNumFromImportFile(path));
    constexpr int block = 1 << 20;
    std::string const feeds = std::string(block + 5, '\n') + "\xFF\n";
    EXPECT_EQ(block + 5, db.GetRecordNumFromImportFile(WriteFile("feeds.csv", feeds)));
    platform::FailReadsAfter(1);
    EXPECT_EQ(CDatabaseEdit::import_no_file, db.GetRecordNumFromImportFile(folder.Path("feeds.csv")));
    platform::FailReadsAfter(-1);
    EXPECT_EQ(CDatabaseEdit::import_no_file, db.LoadSampleLine(folder.Path("no.csv"), texts, -1));
    EXPECT_EQ(0, texts.GetSize());
    db.GetErrMsg().Clear();
    EXPECT_EQ(CDatabaseEdit::import_no_file, db.GetRecordNumFromImportFile(folder.Path("no.csv")));
    EXPECT_EQ(customer_import_open_failed, LastError());
}
