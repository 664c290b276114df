#include "tessaly/storage/my_db.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <climits>
#include <random>
#include <string>
#include <vector>

#include "platform/file.h"
#include "tests/platform/scratch_folder.h"
#include "tests/support/file_content.h"
#include "tests/support/message_boxes.h"

using enum storage::_MYDB_DATATYPE;

namespace {

// Makes protected members public.
class Table : public CMyDB {
  public:
    using CMyDB::ChangeRow;
    using CMyDB::CMyDB;
    using CMyDB::IsChanged;
    using CMyDB::ReadFrom;
    using CMyDB::Revision;
    using CMyDB::WriteTo;
};

XCStringArrayEx RowOf(std::initializer_list<char const*> cells) {
    XCStringArrayEx row;
    for (char const* cell : cells) row.Add(cell);
    return row;
}

std::string RowsOf(CMyDB const& table) {
    std::string text;
    for (int line = 0; line < table.GetLineNumber(); ++line) {
        for (CString const& cell : table.Row(line)) text += std::string(cell) + '|';
        text += '\n';
    }
    return text;
}

class MyDb : public testing::Test {
  protected:
    CString Path(char const* name = "t.dat") { return folder_.Path(name); }
    Table Open(int elements, char const* name = "t.dat") {
        Table table(elements);
        table.SetDBFilePath(Path(name));
        return table;
    }
    ScratchFolder folder_;
};

TEST_F(MyDb, ReadsWhatItWrote) {
    Table table = Open(3);
    table.AddLine(RowOf({"a,b", "say \"x\"", ""}));
    table.AddLine(RowOf({"two\r\nlines", "\"", "表\\"}));
    table.AddLine(RowOf({"", "", "\r\n"}));
    std::string const rows = RowsOf(table);
    for (char const* key : {static_cast<char const*>(nullptr), "key"}) {
        ASSERT_EQ(table.WriteDBFile(1, key), 0);
        EXPECT_EQ(
            TableContentOf(Path(), key),
            "\"a,b\",\"say \"\"x\"\"\",\"\"\r\n\"two\r\nlines\",\"\"\"\",\"表\\\"\r\n\"\",\"\",\"\r\n\"\r\n");
        Table read = Open(3);
        ASSERT_EQ(read.ReadDBFile(key), 0);
        EXPECT_EQ(RowsOf(read), rows);
        EXPECT_FALSE(read.IsChanged());
    }
    int const wrong = table.ReadDBFile("another key");
    EXPECT_TRUE(wrong == CMyDB::db_bad_cell_count || wrong == CMyDB::db_bad_format ||
                wrong == CMyDB::db_file_empty);
    table.RemoveAll(1);
    ASSERT_EQ(table.WriteDBFile(1, nullptr), 0);
    EXPECT_EQ(ContentOf(Path()), "");
}

TEST_F(MyDb, ReadResults) {
    const struct {
        char const* plain;
        int result;
        bool whole;  // it did not stop before the end of the file
        char const* rows;
    } rows[] = {
        {"\"1\",\"2\",\"3\"\r\n\"4\",\"5\",\"6\"\r\n", 0, true, "1|2|3|\n4|5|6|\n"},
        {"\"1\",\"2\"\r\n", 0, true, "1|2||\n"},  // the second width
        {"\"1\",\"2\",\"3\"\r\n\"4\"\r\n\"5\",\"6\"\r\n", -7, false, "1|2|3|\n"},
        {"\"1\",\"2\",\"3\",\"4\"\r\n", -7, false, ""},
        {"\"1\",\"2\",\"3\"\r\n\r\n\"4\",\"5\",\"6\"\r\n", 0, false, "1|2|3|\n"},  // behind a blank line
        {"\"1\",\"2\",\"3\"\r\n\"x\"y,2,3\r\n\"4\",\"5\",\"6\"\r\n", 0, false,
         "1|2|3|\n"},                                                           // and a malformed one
        {"\"1\",\"2\",\"3\"\r\n\"4\",\"5\",\"6\"", 0, false, "1|2|3|\n"},       // last line without LF
        {"\"1\",\"2\",\"3\"\r\n\"4\",\"5\r\n\"6\"\r\n", 0, false, "1|2|3|\n"},  // quotes that never close
        {"\"1\",\"2\",\"3\"\r\n\r\n", 0, true, "1|2|3|\n"},                     // nothing behind it
        {"\r\n\"1\",\"2\",\"3\"\r\n", -8, false, "old|old|old|\n"},
        {"\"x\"y,2,3\r\n", -8, false, "old|old|old|\n"},
        {"", -5, true, "old|old|old|\n"},
        {"\"1\",\"2\",\"3\"", -5, false, "old|old|old|\n"},
    };
    for (auto const& row : rows) {
        ASSERT_TRUE(WriteTable(Path(), row.plain));
        Table table = Open(3);
        table.SetElementNumber_Y2(2);
        table.AddLine(RowOf({"old", "old", "old"}));
        EXPECT_EQ(table.ReadDBFile(nullptr), row.result) << row.plain;
        EXPECT_EQ(RowsOf(table), row.rows) << row.plain;
        EXPECT_EQ(table.StoppedBeforeEnd(), !row.whole) << row.plain;
        EXPECT_TRUE(table.IsChanged());
    }
    // A narrower element number than Y2 drops what is too much.
    ASSERT_TRUE(WriteTable(Path(), "\"1\",\"2\",\"3\"\r\n"));
    Table narrow = Open(2);
    narrow.SetElementNumber_Y2(3);
    EXPECT_EQ(narrow.ReadDBFile(nullptr), 0);
    EXPECT_EQ(RowsOf(narrow), "1|2|\n");
}

TEST_F(MyDb, AFileOfTerabytesWithHolesGivesItsRows) {
    std::string plain;
    for (int line = 0; line < 600; ++line) plain += "\"1\",\"2\"\r\n";
    ASSERT_TRUE(WriteTable(Path(), plain));
    ASSERT_EQ(0, truncate(folder_.Host("t.dat").c_str(), off_t{1} << 42));
    Table table = Open(2);
    EXPECT_EQ(table.ReadDBFile(nullptr), 0);
    EXPECT_EQ(table.GetLineNumber(), 600);
    EXPECT_TRUE(table.StoppedBeforeEnd());
}

// A disk that fails at any block: the table never counts as read, and the file is as it was.
TEST_F(MyDb, TellsAFailedReadFromTheEndOfTheFile) {
    constexpr int lines = 30'000;
    std::string plain;
    for (int line = 0; line < lines; ++line) plain += "\"" + std::to_string(line) + "\",\"some text\"\r\n";
    ASSERT_TRUE(WriteTable(Path(), plain));
    Table table = Open(2);
    int partial = 0;
    for (int reads = 0, result = -1; result != 0; ++reads) {
        platform::FailReadsAfter(reads);
        result = table.ReadDBFile(nullptr);
        platform::FailReadsAfter(-1);
        ASSERT_LT(reads, 100);
        EXPECT_EQ(table.StoppedBeforeEnd(), result != 0) << reads;
        if (result == 0) break;
        EXPECT_EQ(result, CMyDB::db_open_failed) << reads;
        if (table.GetLineNumber() > 0 && table.GetLineNumber() < lines) ++partial;
    }
    EXPECT_GT(partial, 0);
    EXPECT_EQ(table.GetLineNumber(), lines);
    EXPECT_EQ(TableContentOf(Path()), plain);
}

TEST_F(MyDb, ChecksInOrder) {
    Table table;
    EXPECT_EQ(table.ReadDBFile("k"), -2);
    EXPECT_EQ(table.WriteDBFile(1, "k"), -2);
    EXPECT_EQ(table.GetLineNumber(), -2);
    EXPECT_EQ(table.GetElementNumber(), -2);
    EXPECT_EQ(table.GetElementNumber_Y2(), -2);
    EXPECT_EQ(table.SetDBFilePath("C:\\x.dat"), -2);
    EXPECT_EQ(table.AddLine(RowOf({})), -2);
    EXPECT_EQ(table.SetAtLine(-1, RowOf({})), -2);
    EXPECT_EQ(table.SetAtLineGrow(-1, RowOf({})), -2);
    EXPECT_EQ(table.InsertAtLine(-1, RowOf({})), -2);
    EXPECT_EQ(table.RemoveLine(-1), -2);
    EXPECT_EQ(table.RemoveAll(1), -2);
    EXPECT_EQ(table.SetAtElement(-1, -1, "x"), -2);
    EXPECT_EQ(table.Sort(-1, mydb_number, 1), -2);
    EXPECT_EQ(table.TotalAgreementReference("x", -1, -1, 0), -2);
    EXPECT_FALSE(table.IsChanged());

    EXPECT_EQ(table.SetElementNumber(0), -8);
    EXPECT_EQ(table.SetElementNumber(2), 0);
    EXPECT_EQ(table.SetElementNumber(0), -15);
    EXPECT_EQ(table.SetElementNumber(3), -15);
    EXPECT_EQ(table.GetElementNumber(), 2);
    EXPECT_EQ(table.ReadDBFile(nullptr), -1);
    EXPECT_EQ(table.WriteDBFile(1, nullptr), -1);
    const struct {
        CString path;
        int read;
        int write;
    } paths[] = {{"file.dat", -18, 0},
                 {Path("none\\file.dat"), -18, -4},
                 {Path("missing.dat"), -3, 0},
                 {Path(), 0, -4}};  // a folder
    ASSERT_TRUE(platform::MakeDirectory(Path()));
    for (auto const& row : paths) {
        table.SetDBFilePath(row.path);
        if (row.write) {
            EXPECT_EQ(table.WriteDBFile(1, nullptr), row.write) << row.path;
        }
        EXPECT_EQ(table.ReadDBFile(nullptr), row.read ? row.read : -4) << row.path;
    }
    // The second byte of 表 is no divider.
    table.SetDBFilePath("表.dat");
    EXPECT_EQ(table.ReadDBFile(nullptr), -18);

    table.AddLine(RowOf({"a", "b"}));
    for (int const line : {-1, 1, INT_MAX, INT_MIN}) {
        CString cell("kept");
        XCStringArrayEx row = RowOf({"kept"});
        EXPECT_EQ(table.SetAtLine(line, RowOf({"x"})), -7);
        EXPECT_EQ(table.SetAtLine(line, RowOf({"x", "y"})), -9);
        EXPECT_EQ(table.InsertAtLine(line == 1 ? 2 : line, RowOf({"x", "y"})), -9);
        EXPECT_EQ(table.RemoveLine(line), -9);
        EXPECT_EQ(table.SetAtElement(line, 0, 5), -9);
        EXPECT_EQ(table.SetAtElement(line, 0, COleDateTime(2004, 2, 30, 0, 0, 0)), -9);
        EXPECT_EQ(table.GetAtLine(line, row), -9);
        EXPECT_EQ(row.GetSize(), 1);
        EXPECT_TRUE(table.GetAtLine(line).IsEmpty());
        EXPECT_EQ(table.GetAtElement(line, -1, cell), -9);
        EXPECT_STREQ(cell, "kept");
        EXPECT_STREQ(table.GetAtElement(line, 0), "");
    }
    for (int const column : {-1, 2, INT_MAX, INT_MIN}) {
        EXPECT_EQ(table.SetAtElement(0, column, "x"), -10);
        EXPECT_EQ(table.SetAtElement(0, column, COleDateTime(2004, 2, 30, 0, 0, 0)), -10);
        EXPECT_STREQ(table.GetAtElement(0, column), "");
        EXPECT_EQ(table.Sort(column, static_cast<_MYDB_DATATYPE>(9), 1), -10);
        EXPECT_EQ(table.PartialAgreementReference("x", column, -1, 0), -10);
    }
    EXPECT_EQ(table.SetAtElement(0, 0, COleDateTime(2004, 2, 30, 0, 0, 0)), -16);
    EXPECT_EQ(table.Sort(0, static_cast<_MYDB_DATATYPE>(3), 1), -11);
    EXPECT_EQ(table.TotalAgreementReference("a", 0, -1, 0), -14);
    EXPECT_EQ(table.TotalAgreementReference("a", 0, -1, 1), -13);
    EXPECT_EQ(RowsOf(table), "a|b|\n");
}

TEST_F(MyDb, ToldInABoxWhenItHasNoColumns) {
    MessageBoxes boxes;
    EXPECT_THROW(CMyDB(0), CUserException);
    ASSERT_EQ(boxes.Texts().size(), 1U);
    EXPECT_EQ(boxes.Texts()[0], "列数は1以上の値にしてください");
}

TEST_F(MyDb, EditsRows) {
    Table table = Open(2);
    EXPECT_EQ(table.SetAtLineGrow(2, RowOf({"g", "h"})), 0);
    EXPECT_EQ(RowsOf(table), "||\n||\ng|h|\n");
    EXPECT_EQ(table.SetAtLineGrow(1, RowOf({"c", "d"})), 0);
    EXPECT_EQ(table.SetAtLineGrow(-1, RowOf({"c", "d"})), -9);
    EXPECT_EQ(table.SetAtLineGrow(5, RowOf({"c"})), -7);
    EXPECT_EQ(table.InsertAtLine(3, RowOf({"i", "j"})), 0);
    EXPECT_EQ(table.InsertAtLine(0, RowOf({"first", ""})), 0);
    EXPECT_EQ(table.RemoveLine(1), 0);
    EXPECT_EQ(table.SetAtElement(0, 1, INT_MIN), 0);
    EXPECT_EQ(table.SetAtElement(1, 0, COleDateTime(2004, 2, 9, 3, 4, 5)), 0);
    EXPECT_EQ(RowsOf(table), "first|-2147483648|\n2004/02/09 03:04:05|d|\ng|h|\ni|j|\n");
    // A copy that is changed leaves the table alone.
    XCStringArrayEx copy = table[2];
    copy[0] = "changed";
    EXPECT_STREQ(table.GetAtElement(2, 0), "g");
    XCStringArrayEx target = RowOf({"1", "2", "3"});
    EXPECT_EQ(&XCStringArrayEx::Copy(target, copy), &target);
    EXPECT_EQ(target.GetSize(), 2);
    table.SetSizeDBArray(100000);
    table.SetSizeDBArray(-1);
    EXPECT_EQ(table.GetLineNumber(), 4);
    table.Init();
    EXPECT_EQ(table.GetLineNumber(), -2);
    EXPECT_STREQ(table.GetDBFilePath(), "");
    EXPECT_EQ(table.SetElementNumber(7), 0);
}

TEST_F(MyDb, KnowsWhenItIsChanged) {
    Table table = Open(2);
    table.AddLine(RowOf({"10", "b"}));
    table.AddLine(RowOf({"9", "d"}));
    ASSERT_EQ(table.WriteDBFile(0, nullptr), 0);
    const struct {
        char const* name;
        void (*change)(Table&);
    } changes[] = {
        {"add",
         [](Table& t) {
             t.AddLine(RowOf({"", ""}));
         }},
        {"set",
         [](Table& t) {
             t.SetAtLine(0, RowOf({"", ""}));
         }},
        {"grow",
         [](Table& t) {
             t.SetAtLineGrow(9, RowOf({"", ""}));
         }},
        {"insert",
         [](Table& t) {
             t.InsertAtLine(0, RowOf({"", ""}));
         }},
        {"remove", [](Table& t) { t.RemoveLine(0); }},
        {"remove all", [](Table& t) { t.RemoveAll(1); }},
        {"cell", [](Table& t) { t.SetAtElement(0, 0, "x"); }},
        {"number", [](Table& t) { t.SetAtElement(0, 0, 1); }},
        {"date", [](Table& t) { t.SetAtElement(0, 0, COleDateTime()); }},
        {"sort", [](Table& t) { t.Sort(0, mydb_number, 1); }},
        {"sort by text", [](Table& t) { t.Sort(0, mydb_string, 1); }},
        {"row", [](Table& t) { t.ChangeRow(0)[0] = "x"; }},
    };
    for (auto const& row : changes) {
        Table copy = table;
        auto const before = copy.Revision();
        row.change(copy);
        EXPECT_TRUE(copy.IsChanged()) << row.name;
        EXPECT_NE(copy.Revision(), before) << row.name;
    }
    auto const before = table.Revision();
    EXPECT_EQ(table.ReadDBFile(nullptr), 0);
    EXPECT_FALSE(table.IsChanged());
    EXPECT_NE(table.Revision(), before);
    table.RemoveAll(0);
    EXPECT_FALSE(table.IsChanged());
    EXPECT_EQ(table.Sort(0, mydb_number, 1), 0);  // no rows, no change
    EXPECT_FALSE(table.IsChanged());
}

TEST_F(MyDb, WritesOnlyWhatIsChanged) {
    Table table = Open(1);
    table.AddLine(RowOf({"a"}));
    ASSERT_EQ(table.WriteDBFile(0, nullptr), 0);
    ASSERT_TRUE(platform::WriteWholeFile(Path(), "untouched"));
    EXPECT_EQ(table.WriteDBFile(0, nullptr), 0);
    EXPECT_EQ(ContentOf(Path()), "untouched");
    EXPECT_EQ(table.WriteDBFile(1, nullptr), 0);
    EXPECT_EQ(TableContentOf(Path()), "\"a\"\r\n");

    // Another file is written, and unsaved changes of the own file stay unsaved.
    table.SetAtElement(0, 0, "b");
    EXPECT_EQ(table.WriteTo(Path("other.dat"), "k"), 0);
    EXPECT_TRUE(table.IsChanged());
    EXPECT_EQ(TableContentOf(Path("other.dat"), "k"), "\"b\"\r\n");
    EXPECT_EQ(TableContentOf(Path()), "\"a\"\r\n");
    EXPECT_EQ(table.WriteDBFile(0, nullptr), 0);
    EXPECT_EQ(TableContentOf(Path()), "\"b\"\r\n");
    EXPECT_EQ(table.ReadFrom(Path("other.dat"), "k"), 0);
    EXPECT_STREQ(table.GetDBFilePath(), Path());
    EXPECT_EQ(table.WriteTo("", nullptr), -1);
}

TEST_F(MyDb, KeepsItsRowsWhenWritingFails) {
    for (int const rows : {1, 3000}) {  // the failure shows at the closing; before it
        Table table = Open(1);
        for (int i = 0; i < rows; ++i) table.AddLine(RowOf({std::string(400, 'x').c_str()}));
        platform::FailWritesAfter(0);
        EXPECT_EQ(table.WriteDBFile(0, nullptr), -17) << rows;
        platform::FailWritesAfter(-1);
        EXPECT_TRUE(table.IsChanged());
        EXPECT_EQ(table.GetLineNumber(), rows);
        EXPECT_EQ(table.WriteDBFile(0, nullptr), 0);
        Table read = Open(1);
        EXPECT_EQ(read.ReadDBFile(nullptr), 0);
        EXPECT_EQ(read.GetLineNumber(), rows);
    }
}

TEST_F(MyDb, HoldsAMillionRows) {
    constexpr int rows = 1000000;
    Table table = Open(2);
    table.SetSizeDBArray(rows);
    CString number;
    for (int i = 0; i < rows; ++i) {
        XCStringArrayEx row(2);
        row[0].Format("%d", i);
        if (i % 1000 == 0) row[1] = "\"東京都\",\r\n";
        table.AddLine(std::move(row));
    }
    ASSERT_EQ(table.WriteDBFile(0, "k"), 0);
    Table read = Open(2);
    ASSERT_EQ(read.ReadDBFile("k"), 0);
    ASSERT_EQ(read.GetLineNumber(), rows);
    for (int i = 0; i < rows; ++i)
        ASSERT_TRUE(read.Row(i)[0] == table.Row(i)[0] && read.Row(i)[1] == table.Row(i)[1]);
    EXPECT_EQ(read.TotalAgreementReference("999999", 0, 0, 1), 999999);
}

// The sort as specified, with recursion.
void ModelSort(std::vector<_SORT_SET>& set, int left, int right, bool ascending) {
    auto const key = [&](int i) {
        return std::int64_t{set[static_cast<std::size_t>(i)].key} * (ascending ? 1 : -1);
    };
    while (left < right) {
        std::int64_t const sum = key(left) + key(right);
        std::int64_t const pivot = sum / 2;
        int i = left;
        int j = right;
        for (;;) {
            while (key(i) < pivot) ++i;
            while (key(j) > pivot) --j;
            if (i >= j) break;
            std::swap(set[static_cast<std::size_t>(i++)], set[static_cast<std::size_t>(j--)]);
        }
        if (left < i - 1) ModelSort(set, left, i - 1, ascending);
        left = j + 1;
    }
}

TEST_F(MyDb, SortsByNumberLikeTheModel) {
    std::mt19937 random(3);
    for (int round = 0; round < 60; ++round) {
        Table table = Open(2);
        std::vector<_SORT_SET> model;
        int const range = round % 3 == 0 ? 5 : round % 3 == 1 ? 1000 : INT_MAX;
        for (int i = 0; i < 1 + round * 5; ++i) {
            int const key =
                round == 59 ? (i % 2 ? INT_MAX : INT_MIN) : static_cast<int>(random() % range) - range / 2;
            table.AddLine(XCStringArrayEx(2));
            table.SetAtElement(i, 0, key);
            table.SetAtElement(i, 1, i);
            model.push_back({key, i});
        }
        bool const ascending = round % 2 == 0;
        ModelSort(model, 0, static_cast<int>(model.size()) - 1, ascending);
        ASSERT_EQ(table.Sort(0, mydb_number, ascending), 0);
        for (std::size_t i = 0; i < model.size(); ++i)
            ASSERT_EQ(atoi(table.GetAtElement(static_cast<int>(i), 1)), model[i].line) << round;
    }
    Table table = Open(1);
    for (char const* cell : {"10", "9", "x", "-3", "99999999999", "2147483646", "007"})
        table.AddLine(RowOf({cell}));
    table.Sort(0, mydb_number, 1);
    EXPECT_EQ(RowsOf(table), "-3|\nx|\n007|\n9|\n10|\n2147483646|\n99999999999|\n");
    table.Sort(0, mydb_date, 0);
    EXPECT_STREQ(table.GetAtElement(0, 0), "-3");
}

// The first key is the highest, the rest is in order: each part shrinks by one, which recursion would follow
// as deep.
TEST_F(MyDb, SortsHostileOrders) {
    constexpr int rows = 8000;
    std::vector<_SORT_SET> keys;
    for (int i = 0; i < rows; ++i) keys.push_back({i == 0 ? rows : i, i});
    std::vector<_SORT_SET*> set;
    for (_SORT_SET& key : keys) set.push_back(&key);
    Table table = Open(1);
    table.QuickSortReflexive(set.data(), 0, rows - 1, 1);
    for (int i = 1; i < rows; ++i)
        ASSERT_LE(set[static_cast<std::size_t>(i - 1)]->key, set[static_cast<std::size_t>(i)]->key);
    table.QuickSortReflexive(set.data(), 0, -1, 1);
    table.QuickSortReflexive(nullptr, 0, 0, 1);
    table.Exchange(set[0], set[1]);
    EXPECT_GT(set[0]->key, set[1]->key);

    // Customers have IDs that differ; a table of them is sorted in no time.
    constexpr int customers = 300000;
    for (int i = 0; i < customers; ++i) {
        table.AddLine(XCStringArrayEx(1));
        table.SetAtElement(i, 0, i == 0 ? customers : i);
    }
    EXPECT_EQ(table.Sort(0, mydb_number, 1), 0);
    EXPECT_STREQ(table.GetAtElement(0, 0), "1");
    EXPECT_STREQ(table.GetAtElement(customers - 1, 0), "300000");
}

TEST_F(MyDb, Searches) {
    Table table = Open(2);
    for (char const* cell :
         {"Alpha", "表A", "alpha", "ソ5表", "ＡＬＰＨＡ", "", "表a", "x\x83\x5C", "alphabet"})
        table.AddLine(RowOf({"", cell}));
    using Search = int (CMyDB::*)(CString, int, int, int) const;
    Search const total = &CMyDB::TotalAgreementReference;
    Search const no_case = &CMyDB::TotalAgreementReferenceSameUpLow;
    Search const front = &CMyDB::FrontAgreementReference;
    Search const partial = &CMyDB::PartialAgreementReference;
    const struct {
        Search search;
        char const* text;
        int start;
        int step;
        int result;
    } rows[] = {
        {total, "alpha", 0, 1, 2},
        {total, "ALPHA", 0, 1, -12},
        {total, "", 0, 1, 5},
        {total, "Alpha", 0, INT_MAX, 0},
        {total, "alpha", 1, 3, -12},
        {total, "alphabet", 2, 3, 8},
        {total, "alphabet", 9, 1, -12},
        {total, "alphabet", INT_MAX, INT_MAX, -12},
        {no_case, "ALPHA", 0, 1, 0},
        {no_case, "ALPHA", 1, 1, 2},
        {no_case, "ａｌｐｈａ", 0, 1, 4},
        {no_case, "表A", 2, 1, 6},
        {no_case, "alphab", 0, 1, -12},
        {front, "alpha", 0, 1, 2},
        {front, "alpha", 3, 1, 8},
        {front, "表", 2, 1, 6},
        {front, "", 3, 1, 3},
        {front, "lpha", 0, 1, -12},
        {partial, "表", 0, 1, 1},
        {partial, "表", 2, 1, 3},
        {partial, "\\", 0, 1, -12},  // only as a second byte
        {partial, "lphab", 0, 1, 8},
        {partial, "", 5, 1, 5},
        {partial, "ＰＨ", 0, 1, 4},
    };
    for (auto const& row : rows)
        EXPECT_EQ((table.*row.search)(row.text, 1, row.start, row.step), row.result)
            << row.text << ' ' << row.start;
}

}  // namespace
