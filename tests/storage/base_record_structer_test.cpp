#include "tessaly/storage/base_record_structer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <functional>
#include <thread>

#include "platform/mutex.h"
#include "tessaly/platform/process.h"
#include "tests/platform/scratch_folder.h"
#include "tests/support/file_content.h"

namespace {

class Table : public BaseRecordStructer {
  public:
    using BaseRecordStructer::SaveCSVFileCopy;
    Table() = default;
    Table(int elements, std::initializer_list<std::initializer_list<char const*>> records) {
        SetElementNumber(elements);
        for (auto record : records) InsertString(const_cast<char const**>(record.begin()));
    }
    // All cells: "a,b;c,d".
    std::string Text() const {
        std::string text;
        for (int record = 0; record < GetRecordNumber(); ++record)
            for (int element = 0; element < GetElementNumber(); ++element)
                text.append(element ? "," : record ? ";" : "").append(GetStringElement(element, record));
        return text;
    }
};

TEST(BaseRecordStructer, LoadGivesWidthRecordsAndFailureOfTheFile) {
    ScratchFolder const folder;
    CString const path = folder.Path("rec.dat");
    const struct {
        std::string plain;
        int result, elements;
        bool whole;  // it did not stop before the end of the file
        char const* records;
    } rows[] = {
        {"", -2, 1, true, ""},
        {"\r\n1\r\n", -4, 0, false, ""},
        {"\"1\"x,2\r\n", -4, 0, false, ""},
        {"1,2", -2, 1, false, ""},  // no line end: no record
        {"1,2\r\n3\r\n4,5\r\n", -3, 2, false, "1,2"},
        {"1,2\r\n3,4,5\r\n", -3, 2, false, "1,2"},
        {"1,2\r\n\r\n3\r\n", 0, 2, false, "1,2"},
        {"1,2\r\n\r\n", 0, 2, true, "1,2"},
        {"1,2\r\n\"3\"x,4\r\n5,6\r\n", 0, 2, false, "1,2"},
        {"1,2\r\n3,4", 0, 2, false, "1,2"},
        {"1,2\r\n3,\"4\r\n5,6\r\n", 0, 2, false, "1,2"},                     // quotes that never close
        {std::string("1,2\r\n3,\0x\r\n4\r\n", 14), 0, 2, false, "1,2;3,4"},  // hidden by a NUL
        {"\"a\r\nb\",\"\"\"q\"\",\"\r\n表,\r\n", 0, 2, true, "a\r\nb,\"q\",;表,"},
    };
    for (char const* key : {static_cast<char const*>(nullptr), "鍵"}) {
        for (auto const& row : rows) {
            Table table(3, {{"x", "y", "z"}});
            ASSERT_TRUE(WriteTable(path, row.plain, key));
            EXPECT_EQ(row.result, table.LoadCSVFile(path, key)) << row.plain;
            EXPECT_EQ(row.elements, table.GetElementNumber()) << row.plain;
            EXPECT_EQ(row.records, table.Text()) << row.plain;
            EXPECT_EQ(!row.whole, table.StoppedBeforeEnd()) << row.plain;
        }
    }
    Table table(1, {{"x"}});
    for (CString const& none : {folder.Path("none.dat"), folder.Path(), CString()})
        EXPECT_EQ(-1, table.LoadCSVFile(none, nullptr));
    EXPECT_EQ(0, table.GetElementNumber());
    EXPECT_EQ(0, table.GetRecordNumber());
    EXPECT_FALSE(table.StoppedBeforeEnd());
}

TEST(BaseRecordStructer, TellsAFailedReadFromTheEndOfTheFile) {
    ScratchFolder const folder;
    CString const path = folder.Path("rec.dat");
    std::string plain;
    for (int line = 0; line < 50'000; ++line) plain += "\"some text\",\"2\"\r\n";
    ASSERT_TRUE(WriteTable(path, plain));
    for (int const reads : {0, 1, 2}) {
        Table table;
        platform::FailReadsAfter(reads);
        EXPECT_EQ(BaseRecordStructer::load_read_failed, table.LoadCSVFile(path, nullptr)) << reads;
        platform::FailReadsAfter(-1);
        EXPECT_TRUE(table.StoppedBeforeEnd());
        EXPECT_EQ(0, table.SaveCSVFileCompel(path, nullptr)) << "nothing writes over the file";
        EXPECT_EQ(BaseRecordStructer::load_ok, table.LoadCSVFile(path, nullptr));
        EXPECT_FALSE(table.StoppedBeforeEnd());
        EXPECT_EQ(50'000, table.GetRecordNumber());
    }
}

TEST(BaseRecordStructer, SaveFollowsTheChangedFlag) {
    ScratchFolder const folder;
    CString const path = folder.Path("rec.dat");
    std::string const plain = "\"1\",\"2\"\r\n\"\",\"\"\"\"\r\n";
    ASSERT_TRUE(WriteTable(path, plain, "k"));
    Table table;
    ASSERT_EQ(0, table.LoadCSVFile(path, "k"));
    XCStringArrayEx row(2);
    CArray<int, int> order;
    order.Add(1);
    char const* values[] = {"n", nullptr};
    std::function<int()> const changes[] = {
        [&] { return 1; },  // loading alone counts as a change
        [&] { return table.InsertString(row); },
        [&] { return table.InsertString(values); },
        [&] { return table.CorrectString(0, row); },
        [&] { return table.CorrectString(0, values); },
        [&] { return table.DeleteString(0); },
        [&] { return table.FullSort(order); },
        [&] { return table.DeleteAllString(), 1; },
        [&] { return table.SetElementNumber(2); },
    };
    for (auto const& change : changes) {
        EXPECT_EQ(1, change());
        platform::RemoveFile(path);
        EXPECT_EQ(1, table.SaveCSVFile(path, 0, "k"));
        EXPECT_TRUE(platform::Exists(path)) << &change - changes;
        platform::RemoveFile(path);
        EXPECT_EQ(1, table.SaveCSVFile(path, 0, "k"));
        EXPECT_FALSE(platform::Exists(path)) << &change - changes;
    }
    WriteTable(path, plain, "k");
    table.LoadCSVFile(path, "k");
    EXPECT_EQ(1, table.SaveCSVFileCompel(path, nullptr));
    EXPECT_EQ(plain, TableContentOf(path));
    table.SetElementNumber(0);
    EXPECT_EQ(0, table.SaveCSVFileCompel(path, nullptr));
    EXPECT_EQ(plain, TableContentOf(path));
}

TEST(BaseRecordStructer, AFailedOrForeignSaveLeavesTheTableUnsaved) {
    ScratchFolder const folder;
    CString const home = folder.Path("home.dat"), other = folder.Path("copy.dat");
    Table table(2, {{"1", "2"}});
    EXPECT_EQ(0, table.SaveCSVFile(folder.Path("no\\rec.dat"), 0, nullptr));
    EXPECT_EQ(0, table.SaveCSVFileCopy(folder.Path("no\\rec.dat"), nullptr));
    EXPECT_EQ(1, table.SaveCSVFileCopy(other, nullptr));
    EXPECT_EQ("\"1\",\"2\"\r\n", TableContentOf(other));
    platform::FailWritesAfter(0);  // shows only when the file is closed, the table being small
    EXPECT_EQ(0, table.SaveCSVFile(home, 0, nullptr));
    platform::FailWritesAfter(-1);
    EXPECT_EQ(1, table.SaveCSVFile(home, 0, nullptr));
    EXPECT_EQ("\"1\",\"2\"\r\n", TableContentOf(home));

    platform::RemoveFile(home);
    EXPECT_EQ(1, table.SaveCSVFileCopy(other, nullptr));
    EXPECT_EQ(1, table.SaveCSVFile(home, 0, nullptr));
    EXPECT_FALSE(platform::Exists(home));  // nor does a copy make a saved table unsaved

    XCStringArrayEx narrow(1), wide(3);
    wide[0] = "w", wide[2] = "lost";
    table.InsertString(narrow);
    table.InsertString(wide);
    EXPECT_EQ("", table.GetStringElement(1, 1) + table.GetStringElement(2, 2));
    EXPECT_EQ(1, table.SaveCSVFile(home, 0, nullptr));
    EXPECT_EQ("\"1\",\"2\"\r\n\"\",\"\"\r\n\"w\",\"\"\r\n", TableContentOf(home));
}

TEST(BaseRecordStructer, ChangesRefuseWhatIsNotThere) {
    Table table;
    char const* values[] = {"a", "b"};
    XCStringArrayEx row(2), out(1);
    EXPECT_EQ(0, table.InsertString(values) + table.InsertString(row) + table.FullSort("0"));
    EXPECT_EQ(1, table.SetElementNumber(2));
    for (int const record : {-1, 0, INT_MAX})
        EXPECT_EQ(0, table.CorrectString(record, values) + table.CorrectString(record, row) +
                         table.DeleteString(record) + table.GetString(record, out));
    EXPECT_EQ(0, out.GetSize());
    EXPECT_EQ(0, table.InsertString(static_cast<char const**>(nullptr)));
    EXPECT_EQ(1, table.InsertString(values));
    EXPECT_EQ(0, table.SetElementNumber(-1));
    EXPECT_EQ(1, table.GetString(0, out));
    EXPECT_EQ("b", out[1]);
    EXPECT_EQ("b", table.GetStringElement(1, 0));
    EXPECT_EQ("",
              table.GetStringElement(0, 1) + table.GetStringElement(-1, 0) + table.GetStringElement(0, -1));
}

TEST(BaseRecordStructer, FullSortTakesTheNamedRecordsFirst) {
    using Row = std::pair<char const*, char const*>;
    for (auto const& [order, records] :
         {Row{"2,0", "c;a;b"}, Row{"", "a;b;c"}, Row{nullptr, "a;b;c"}, Row{"1,1,9,-1,1", "b;a;c"},
          Row{" 2 ,1", "c;b;a"}, Row{"x,,2", "c;a;b"}, Row{"99999999999999,1", "b;a;c"}}) {
        Table table(1, {{"a"}, {"b"}, {"c"}});
        EXPECT_EQ(1, table.FullSort(order));
        EXPECT_EQ(records, table.Text()) << (order ? order : "null");
    }
}

TEST(BaseRecordStructer, SearchesWalkInStepsAndCompareWholeCharacters) {
    Table const table(
        2, {{"abc", "1"}, {"ABC", "2"}, {"ソ表abc", "3"}, {"ＡＢＣ", "4"}, {"abc", "5"}, {"", "6"}});
    using Search = int (BaseRecordStructer::*)(char const*, int, int, int) const;
    Search const total = &BaseRecordStructer::TotalAgreementReference;
    Search const same = &BaseRecordStructer::TotalAgreementReferenceSameUpLow;
    Search const front = &BaseRecordStructer::FrontAgreementReference;
    Search const partial = &BaseRecordStructer::PartialAgreementReference;
    const struct {
        Search search;
        char const* text;
        int element, start, step, result;
    } rows[] = {
        {total, "abc", 0, 0, 1, 0},       {total, "abc", 0, 1, 1, 4},       {total, "abc", 0, 3, -1, 0},
        {total, "abc", 0, 1, 2, -1},      {total, "ab", 0, 0, 1, -1},       {total, "abc", 0, 5, INT_MIN, -1},
        {total, "abc", 0, 0, INT_MAX, 0}, {total, "AB", 0, 1, INT_MAX, -1}, {same, "aBc", 0, 1, 1, 1},
        {same, "ａｂｃ", 0, 0, 1, 3},     {same, "abcd", 0, 0, 1, -1},      {front, "AB", 0, 0, 1, 1},
        {front, "abcd", 0, 0, 1, -1},     {front, "ソ", 0, 0, 1, 2},        {partial, "bc", 0, 1, 1, 2},
        {partial, "\\", 0, 0, 1, -1},     {partial, "表a", 0, 0, 1, 2},     {partial, "6", 1, 0, 1, 5},
        {total, "", 0, 0, 1, -2},         {total, nullptr, 0, 0, 1, -2},    {total, "abc", 2, 0, 1, -2},
        {total, "abc", -1, 0, 1, -2},     {total, "abc", 0, 6, 1, -2},      {total, "abc", 0, -1, 1, -2},
        {total, "abc", 0, 0, 0, -2},
    };
    for (auto const& row : rows)
        EXPECT_EQ(row.result, (table.*row.search)(row.text, row.element, row.start, row.step)) << &row - rows;
    EXPECT_EQ(-1, Table(1, {}).TotalAgreementReference("", 9, 9, 0));
}

TEST(BaseRecordStructer, LoadAndSaveWaitForTheLockOfTheFileName) {
    ScratchFolder const folder;
    CString const path = folder.Path("locked.dat");
    for (bool const save : {false, true}) {
        CMutex lock(false, "locked_.dat");
        lock.Lock();
        std::atomic<bool> done{false};
        std::thread other([&] {
            Table table(1, {{"a"}});
            save ? table.SaveCSVFile(path, 1, nullptr) : table.LoadCSVFile(path, nullptr);
            done = true;
        });
        platform::SleepMilliseconds(30);
        EXPECT_FALSE(done);
        lock.Unlock();
        other.join();
    }
    EXPECT_TRUE(platform::Exists(path));
}

}  // namespace
