#include "tessaly/storage/record_writer.h"
#include "platform/cstring_pool.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>

#include "platform/file.h"
#include "tessaly/storage/csv_read.h"
#include "tessaly/storage/csv_write.h"
#include "tessaly/storage/xcsv_write.h"
#include "tests/platform/scratch_folder.h"
#include "tests/support/file_content.h"

namespace {

// Fails the writes of the platform layer as long as the object lives.
struct FailingWrites {
    explicit FailingWrites(int good) { platform::FailWritesAfter(good); }
    ~FailingWrites() { platform::FailWritesAfter(-1); }
};

TEST(RecordWriter, BuildsAndWritesRecords) {
    ScratchFolder folder;
    CString const path = folder.Path("t.dat");
    CsvWrite writer;
    EXPECT_EQ(writer.WriteLine(), storage::RecordWriter::write_failed);
    EXPECT_EQ(writer.OpenFile(nullptr), -1);
    EXPECT_EQ(writer.OpenFile(folder.Path("none\\t.dat")), -1);
    EXPECT_EQ(writer.GetFd(), nullptr);
    ASSERT_EQ(writer.OpenFile(path), 1);
    EXPECT_EQ(writer.WriteLine(), 0);
    writer.SetData("a \"b\", c");
    writer.SetData(static_cast<char const*>(nullptr));
    writer.SetData("");
    writer.SetData(-42L);
    writer.SetData("表\r\n");
    EXPECT_STREQ(writer.GetLine(), "\"a \"\"b\"\", c\",\"\",-42,\"表\r\n\"");
    EXPECT_EQ(writer.WriteLine(), 28);
    EXPECT_STREQ(writer.GetLine(), "\"a \"\"b\"\", c\",\"\",-42,\"表\r\n\"\r\n");
    writer.BufferEmpty();
    EXPECT_EQ(writer.WriteLine("\"%s\",%d\n", "x\"y", 7), 9);  // has its line end already
    EXPECT_STREQ(writer.SetLine("%s", "tail"), "tail");
    EXPECT_EQ(writer.WriteLine(), 6);
    EXPECT_TRUE(writer.CloseChecked());
    EXPECT_EQ(ContentOf(path), "\"a \"\"b\"\", c\",\"\",-42,\"表\r\n\"\r\n\"x\"\"y\",7\ntail\r\n");
}

TEST(RecordWriter, ScramblesTheWholeLine) {
    ScratchFolder folder;
    CString const path = folder.Path("t.dat");
    for (char const* key : {static_cast<char const*>(nullptr), "a key"}) {
        XCsvWrite writer;
        if (key) writer.SetUseKey(key);
        ASSERT_EQ(writer.OpenFile(path), 1);
        writer.SetData("x");
        EXPECT_EQ(writer.WriteLine(), 5);
        EXPECT_STRNE(writer.GetLine(), "\"x\"\r\n");
        writer.CloseFile();
        EXPECT_EQ(writer.GetLine(), ContentOf(path));
        EXPECT_EQ(TableContentOf(path, key), "\"x\"\r\n");
    }
}

// Rows in bulk and fields one by one give the same file, and a reader gives the cells back.
TEST(RecordWriter, WritesRowsInBulk) {
    ScratchFolder folder;
    CString const bulk_path = folder.Path("bulk.dat");
    CString const single_path = folder.Path("single.dat");
    CsvWrite bulk;
    CsvWrite single;
    ASSERT_EQ(bulk.OpenFile(bulk_path), 1);
    ASSERT_EQ(single.OpenFile(single_path), 1);
    std::vector<XCStringArrayEx> rows;
    for (int i = 0; i < 9000; ++i) {
        XCStringArrayEx row(i % 4);  // missing cells are empty, a fourth one is not written
        for (CString& cell : row) cell.Format("%d\"%s\"\r\n,", i, std::string(i % 60, 'x').c_str());
        if (i == 4000 && !row.IsEmpty()) row[0] = "none";
        if (i == 5001) row[0] = CString('"', 300000);  // larger than a block
        rows.push_back(row);
    }
    for (XCStringArrayEx const& row : rows) {
        ASSERT_TRUE(bulk.WriteRow(row, 3));
        single.BufferEmpty();
        for (int i = 0; i < 3; ++i) single.SetData(row.GetAt(i));
        ASSERT_GT(single.WriteLine(), 0);
    }
    EXPECT_TRUE(bulk.CloseChecked());
    EXPECT_TRUE(single.CloseChecked());
    EXPECT_TRUE(ContentOf(bulk_path) == ContentOf(single_path));

    CsvRead reader;
    ASSERT_EQ(reader.OpenFile(bulk_path), 1);
    CStringPool pool;
    for (XCStringArrayEx const& row : rows) {
        XCStringArrayEx read;
        ASSERT_EQ(reader.ReadRow(pool, 3, read), 3);
        for (int i = 0; i < 3; ++i) ASSERT_EQ(read[i], row.GetAt(i));
    }
    EXPECT_FALSE(bulk.WriteRow(rows[1], 3));  // closed
}

TEST(RecordWriter, KeepsTheOrderOfMixedWrites) {
    ScratchFolder folder;
    CsvWrite writer;
    ASSERT_EQ(writer.OpenFile(folder.Path("t")), 1);
    XCStringArrayEx row(1);
    row[0] = "1";
    EXPECT_TRUE(writer.WriteRow(row, 1));
    EXPECT_EQ(writer.WriteLine("2"), 3);
    EXPECT_TRUE(writer.WriteRow(row, 1));
    std::fputs("raw\r\n", writer.GetFd());
    std::FILE* other = platform::OpenStream(folder.Path("u"), "wb");
    EXPECT_EQ(writer.SetFp(other), other);
    EXPECT_EQ(writer.SetFp(other), other);
    EXPECT_EQ(writer.WriteLine("other"), 7);
    EXPECT_EQ(writer.SetFp(nullptr), nullptr);
    EXPECT_EQ(ContentOf(folder.Path("t")), "\"1\"\r\n2\r\n\"1\"\r\nraw\r\n");
    EXPECT_EQ(ContentOf(folder.Path("u")), "other\r\n");
}

TEST(RecordWriter, TellsOfEveryFailedWrite) {
    ScratchFolder folder;
    XCStringArrayEx row(1);
    row[0] = CString('x', 1000);
    for (int const rows : {1, 1000}) {  // fails when the file is closed; fails before
        CsvWrite writer;
        ASSERT_EQ(writer.OpenFile(folder.Path("t")), 1);
        FailingWrites failing(0);
        bool good = true;
        for (int i = 0; i < rows; ++i) good = writer.WriteRow(row, 1) && good;
        EXPECT_EQ(good, rows == 1);
        EXPECT_FALSE(writer.CloseChecked());
        EXPECT_TRUE(writer.CloseChecked());  // no file is open after that
    }
    CsvWrite writer;
    ASSERT_EQ(writer.OpenFile(folder.Path("t")), 1);
    FailingWrites failing(0);
    bool failed = false;
    for (int i = 0; i < 1000 && !failed; ++i) failed = writer.WriteLine("%s", row[0].GetBuffer(0)) < 0;
    EXPECT_TRUE(failed);
    EXPECT_FALSE(writer.CloseChecked());
}

// Each conversion as printf does it, but for the text of "%s".
TEST(RecordWriter, FormatsLinesAsPrintf) {
    CsvWrite writer;
    auto const expect = [](CString const& got, char const* format, auto... values) {
        char expected[256];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
        std::snprintf(expected, sizeof expected, format, values...);
#pragma GCC diagnostic pop
        EXPECT_STREQ(got, expected) << format;
    };
#define SAME_AS_PRINTF(...) expect(writer.SetLine(__VA_ARGS__), __VA_ARGS__)
    SAME_AS_PRINTF("%d|%+5i|%-5d|%05d", 1, -2, 3, 4);
    SAME_AS_PRINTF("%ld|%lld|%hd|%hhd|%jd|%zd|%td", -1L, LLONG_MIN, 7, 8, INTMAX_MAX, std::ptrdiff_t{9},
                   std::ptrdiff_t{-9});
    SAME_AS_PRINTF("%u|%lu|%llx|%X|%#o|%zu|%ju", 1U, UINT64_MAX, 255ULL, 255U, 8U, std::size_t{3},
                   UINTMAX_MAX);
    SAME_AS_PRINTF("%f|%.2e|%G|%Lf|%a", 1.5, 12345.0, 1e-9, 2.5L, 1.0);
    SAME_AS_PRINTF("%c|%%|%*d|%.*f|%-*d|", 'x', 6, 42, 2, 3.14159, -4, 5);
    SAME_AS_PRINTF("%.*d|%.*f|%*.*x|%d", -1, 5, -3, 2.5, -6, -2, 255, 7);
    SAME_AS_PRINTF("%p", static_cast<void*>(&writer));
    SAME_AS_PRINTF("%0200d", 5);
#undef SAME_AS_PRINTF
    EXPECT_STREQ(writer.SetLine("\"%s\",\"%20s\",\"%.1s\",\"%-*s\",\"%.*s\",%d", "a\"", "b", "\"cd", 9, "e",
                                1, "fg", 7),
                 "\"a\"\"\",\"b\",\"\"\"cd\",\"e\",\"fg\",7");
    int untouched = 5;
    EXPECT_STREQ(writer.SetLine("ab%n%d", &untouched, 7), "ab7");
    EXPECT_EQ(untouched, 5);
    EXPECT_STREQ(writer.SetLine("%s表%d", "ソ\"能", 5), "ソ\"\"能表5");
    EXPECT_STREQ(writer.SetLine("a%cb", 0), "a");  // a text ends at its NUL
    char const* const no_format = nullptr;
    EXPECT_STREQ(writer.SetLine(no_format), "");
}

}  // namespace
