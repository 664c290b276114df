#include "storage/base_record_structer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <thread>

#include "platform/mutex.h"
#include "platform/process.h"
#include "tests/platform/scratch_folder.h"
#include "tests/support/file_content.h"

namespace {

class Table : public BaseRecordStructer {
  public:
    using BaseRecordStructer::SaveCSVFileCopy;
    // All cells: "a,b;c,d".
    std::string Text() const {
        std::string text;
        for (int record = 0; record < GetRecordNumber(); ++record) {
            if (record) text += ';';
            for (int element = 0; element < GetElementNumber(); ++element)
                text.append(element ? "," : "").append(GetStringElement(element, record).View());
        }
        return text;
    }
};

Table Filled(int elements, std::initializer_list<std::initializer_list<char const*>> records) {
    Table table;
    table.SetElementNumber(elements);
    for (auto record : records) table.InsertString(const_cast<char const**>(record.begin()));
    return table;
}

TEST(BaseRecordStructer, LoadGivesWidthRecordsAndFailureOfTheFile) {
    const ScratchFolder folder;
    const CString path = folder.Path("rec.dat");
    const struct {
        std::string plain;
        int result;
        int elements;
        std::string records;
    } rows[] = {
        {"", -2, 1, ""},
        {"\r\n\"1\"\r\n", -4, 0, ""},
        {"\"1\"x,\"2\"\r\n", -4, 0, ""},
        {"\"1\",\"2\"", -2, 1, ""},  // no line end: no record
        {"\"1\",\"2\"\r\n\"3\"\r\n\"4\",\"5\"\r\n", -3, 2, "1,2"},
        {"\"1\",\"2\"\r\n\"3\",\"4\",\"5\"\r\n", -3, 2, "1,2"},
        {"\"1\",\"2\"\r\n\r\n\"3\"\r\n", 0, 2, "1,2"},
        {"\"1\",\"2\"\r\n\"3\"x,\"4\"\r\n\"5\",\"6\"\r\n", 0, 2, "1,2"},
        {"\"1\",\"2\"\r\n\"3\",\"4\"", 0, 2, "1,2"},
        {"\"a\r\nb\",\"\"\"q\"\",\"\r\n3,\r\n", 0, 2, "a\r\nb,\"q\",;3,"},
        {"\"表\",ｱ\r\n", 0, 2, "表,ｱ"},
    };
    for (char const* key : {static_cast<char const*>(nullptr), "鍵"}) {
        for (auto const& row : rows) {
            SCOPED_TRACE(row.plain);
            Table table = Filled(3, {{"x", "y", "z"}});
            ASSERT_TRUE(WriteTable(path, row.plain, key));
            EXPECT_EQ(row.result, table.LoadCSVFile(path, key));
            EXPECT_EQ(row.elements, table.GetElementNumber());
            EXPECT_EQ(row.records, table.Text());
        }
    }
    Table table = Filled(1, {{"x"}});
    EXPECT_EQ(-1, table.LoadCSVFile(folder.Path("none.dat"), nullptr));
    EXPECT_EQ(-1, table.LoadCSVFile(nullptr, nullptr));
    EXPECT_EQ(-1, table.LoadCSVFile(folder.Path(), nullptr));
    EXPECT_EQ(0, table.GetElementNumber());
    EXPECT_EQ(0, table.GetRecordNumber());
}

TEST(BaseRecordStructer, SaveFollowsTheChangedFlag) {
    const ScratchFolder folder;
    const CString path = folder.Path("rec.dat");
    const std::string plain = "\"1\",\"2\"\r\n\"\",\"\"\"\"\r\n";
    ASSERT_TRUE(WriteTable(path, plain, "k"));
    Table table;
    ASSERT_EQ(0, table.LoadCSVFile(path, "k"));
    platform::RemoveFile(path);
    EXPECT_EQ(1, table.SaveCSVFile(path, 0, "k"));  // a loaded table counts as changed
    EXPECT_EQ(plain, TableContentOf(path, "k"));
    platform::RemoveFile(path);
    EXPECT_EQ(1, table.SaveCSVFile(path, 0, "k"));
    EXPECT_FALSE(platform::Exists(path));
    EXPECT_EQ(1, table.SaveCSVFileCompel(path, nullptr));
    EXPECT_EQ(plain, TableContentOf(path));

    // Every change is one to save.
    XCStringArrayEx row(2);
    CArray<int, int> order;
    order.Add(1);
    char const* values[] = {"n", nullptr};
    const std::function<int()> changes[] = {
        [&] { return table.InsertString(row); },     [&] { return table.InsertString(values); },
        [&] { return table.CorrectString(0, row); }, [&] { return table.CorrectString(0, values); },
        [&] { return table.DeleteString(0); },       [&] { return table.FullSort(order); },
        [&] { return table.DeleteAllString(), 1; },  [&] { return table.SetElementNumber(2); },
    };
    for (auto const& change : changes) {
        EXPECT_EQ(1, change());
        platform::RemoveFile(path);
        EXPECT_EQ(1, table.SaveCSVFile(path, 0, nullptr));
        EXPECT_TRUE(platform::Exists(path)) << &change - changes;
    }

    table.SetElementNumber(0);
    EXPECT_EQ(0, table.SaveCSVFileCompel(path, nullptr));
    EXPECT_EQ("", ContentOf(path));
}

TEST(BaseRecordStructer, AFailedOrForeignSaveLeavesTheTableUnsaved) {
    const ScratchFolder folder;
    const CString home = folder.Path("home.dat");
    Table table = Filled(2, {{"1", "2"}});
    EXPECT_EQ(0, table.SaveCSVFile(folder.Path("no\\rec.dat"), 0, nullptr));
    EXPECT_EQ(0, table.SaveCSVFileCopy(folder.Path("no\\rec.dat"), nullptr));
    EXPECT_EQ(1, table.SaveCSVFileCopy(folder.Path("copy.dat"), nullptr));
    EXPECT_EQ("\"1\",\"2\"\r\n", TableContentOf(folder.Path("copy.dat")));

    platform::FailWritesAfter(0);  // shows only when the file is closed, the table being small
    int const failed = table.SaveCSVFile(home, 0, nullptr);
    platform::FailWritesAfter(-1);
    EXPECT_EQ(0, failed);
    EXPECT_EQ("1,2", table.Text());
    EXPECT_EQ(1, table.SaveCSVFile(home, 0, nullptr));
    EXPECT_EQ("\"1\",\"2\"\r\n", TableContentOf(home));

    EXPECT_EQ(1, table.SaveCSVFileCopy(folder.Path("copy.dat"), nullptr));
    platform::RemoveFile(home);
    EXPECT_EQ(1, table.SaveCSVFile(home, 0, nullptr));
    EXPECT_FALSE(platform::Exists(home));  // nor does a copy make a saved table unsaved

    XCStringArrayEx narrow(1), wide(3);
    narrow[0] = "n";
    wide[0] = "w", wide[2] = "lost";
    table.InsertString(narrow);
    table.InsertString(wide);
    EXPECT_EQ("", table.GetStringElement(1, 1));
    EXPECT_EQ("", table.GetStringElement(2, 2));
    EXPECT_EQ(1, table.SaveCSVFile(home, 0, nullptr));
    EXPECT_EQ("\"1\",\"2\"\r\n\"n\",\"\"\r\n\"w\",\"\"\r\n", TableContentOf(home));
}

TEST(BaseRecordStructer, ChangesRefuseWhatIsNotThere) {
    Table table;
    char const* values[] = {"a", "b"};
    XCStringArrayEx row(2), out(1);
    EXPECT_EQ(0, table.InsertString(values));
    EXPECT_EQ(0, table.InsertString(row));
    EXPECT_EQ(0, table.FullSort("0"));
    EXPECT_EQ(1, table.SetElementNumber(2));
    for (int const record : {-1, 0, INT_MAX}) {
        EXPECT_EQ(0, table.CorrectString(record, values));
        EXPECT_EQ(0, table.CorrectString(record, row));
        EXPECT_EQ(0, table.DeleteString(record));
    }
    EXPECT_EQ(0, table.InsertString(static_cast<char const**>(nullptr)));
    EXPECT_EQ(1, table.InsertString(values));
    EXPECT_EQ(0, table.SetElementNumber(-1));
    EXPECT_EQ("a,b", table.Text());
    EXPECT_EQ(0, table.GetString(1, out));
    EXPECT_EQ(0, out.GetSize());
    EXPECT_EQ(1, table.GetString(0, out));
    EXPECT_EQ(2, out.GetSize());
    EXPECT_EQ("b", table.GetStringElement(1, 0));
    EXPECT_EQ("", table.GetStringElement(0, 1));
    EXPECT_EQ("", table.GetStringElement(-1, 0));
}

TEST(BaseRecordStructer, FullSortTakesTheNamedRecordsFirst) {
    const struct {
        char const* order;
        char const* records;
    } rows[] = {
        {"2,0", "c;a;b"},
        {"", "a;b;c"},
        {nullptr, "a;b;c"},
        {"1,1,9,-1,1", "b;a;c"},
        {" 2 ,1", "c;b;a"},
        {"x,,2", "c;a;b"},
        {"99999999999999,1", "b;a;c"},
        {"0,1,2,0,1,2", "a;b;c"},
    };
    for (auto const& row : rows) {
        Table table = Filled(1, {{"a"}, {"b"}, {"c"}});
        EXPECT_EQ(1, table.FullSort(row.order));
        EXPECT_EQ(row.records, table.Text()) << (row.order ? row.order : "null");
    }
}

TEST(BaseRecordStructer, SearchesWalkInStepsAndCompareWholeCharacters) {
    const Table table =
        Filled(2, {{"abc", "1"}, {"ABC", "2"}, {"ソ表abc", "3"}, {"ＡＢＣ", "4"}, {"abc", "5"}, {"", "6"}});
    using Search = int (BaseRecordStructer::*)(char const*, int, int, int) const;
    const Search total = &BaseRecordStructer::TotalAgreementReference;
    const Search same = &BaseRecordStructer::TotalAgreementReferenceSameUpLow;
    const Search front = &BaseRecordStructer::FrontAgreementReference;
    const Search partial = &BaseRecordStructer::PartialAgreementReference;
    const struct {
        Search search;
        char const* text;
        int element, start, step;
        int result;
    } rows[] = {
        {total, "abc", 0, 0, 1, 0},       {total, "abc", 0, 1, 1, 4},
        {total, "abc", 0, 3, -1, 0},      {total, "abc", 0, 1, 2, -1},
        {total, "ab", 0, 0, 1, -1},       {total, "abc", 0, 5, INT_MIN, -1},
        {total, "abc", 0, 0, INT_MAX, 0}, {total, "ABC", 0, 0, INT_MAX, -1},
        {same, "aBc", 0, 1, 1, 1},        {same, "ａｂｃ", 0, 0, 1, 3},
        {same, "abcd", 0, 0, 1, -1},      {front, "AB", 0, 0, 1, 1},
        {front, "abcd", 0, 0, 1, -1},     {front, "ソ", 0, 0, 1, 2},
        {partial, "bc", 0, 1, 1, 2},      {partial, "\\", 0, 0, 1, -1},
        {partial, "表a", 0, 0, 1, 2},     {partial, "6", 1, 0, 1, 5},
        {total, "", 0, 0, 1, -2},         {total, nullptr, 0, 0, 1, -2},
        {total, "abc", 2, 0, 1, -2},      {total, "abc", -1, 0, 1, -2},
        {total, "abc", 0, 6, 1, -2},      {total, "abc", 0, -1, 1, -2},
        {total, "abc", 0, 0, 0, -2},
    };
    for (auto const& row : rows)
        EXPECT_EQ(row.result, (table.*row.search)(row.text, row.element, row.start, row.step)) << &row - rows;
    EXPECT_EQ(-1, Filled(1, {}).TotalAgreementReference("", 9, 9, 0));
}

TEST(BaseRecordStructer, LoadAndSaveWaitForTheLockOfTheFileName) {
    const ScratchFolder folder;
    for (bool const save : {false, true}) {
        CMutex lock(false, "locked_.dat");
        lock.Lock();
        std::atomic<bool> done{false};
        std::thread other([&] {
            Table table = Filled(1, {{"a"}});
            save ? table.SaveCSVFile(folder.Path("locked.dat"), 1, nullptr)
                 : table.LoadCSVFile(folder.Path("locked.dat"), nullptr);
            done = true;
        });
        platform::SleepMilliseconds(30);
        EXPECT_FALSE(done);
        lock.Unlock();
        other.join();
    }
    EXPECT_TRUE(platform::Exists(folder.Path("locked.dat")));
}

}  // namespace
