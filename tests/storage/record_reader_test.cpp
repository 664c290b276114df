#include "tessaly/storage/record_reader.h"
#include "platform/cstring_pool.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "platform/file.h"
#include "storage/key_tables.h"
#include "tessaly/storage/csv_read.h"
#include "tessaly/storage/xcsv_read.h"
#include "tests/platform/scratch_folder.h"
#include "tests/storage/record_model.h"
#include "tests/support/file_content.h"

namespace {

using test::Record;

Record ReadLineOf(storage::RecordReader& reader) {
    Record record;
    record.result = reader.ReadLine();
    for (int i = 0; i < reader.GetElementsNumber(); ++i) record.fields.emplace_back(reader.GetData(i));
    return record;
}

Record ReadRowOf(storage::RecordReader& reader, CStringPool& pool, int columns) {
    XCStringArrayEx row;
    Record record;
    record.result = reader.ReadRow(pool, columns, row);
    for (CString const& cell : row) record.fields.emplace_back(cell);
    return record;
}

// Reads `bytes` in both ways of the reader and compares with the model, record by record to the end.
template <class Reader>
testing::AssertionResult ReadsLikeTheModel(std::string const& bytes, unsigned char const* table) {
    test::RecordModel model(bytes, table);
    Reader lines;
    Reader rows;
    lines.SetFp(test::OpenBytes(bytes));
    rows.SetFp(test::OpenBytes(bytes));
    CStringPool pool;
    constexpr int columns = 3;
    // A NUL at the end of the bytes may give at most as many blank records as there are bytes.
    for (std::size_t number = 0; number <= bytes.size() + 1; ++number) {
        Record expected = model.Read();
        if (ReadLineOf(lines) != expected)
            return testing::AssertionFailure() << "ReadLine, record " << number;
        if ((lines.IsEof() != 0) != model.AtEnd())
            return testing::AssertionFailure() << "IsEof, record " << number;
        if (expected.result > 0) expected.fields.resize(columns);
        if (ReadRowOf(rows, pool, columns) != expected)
            return testing::AssertionFailure() << "ReadRow, record " << number;
        if (expected.result < 0) return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "no end";
}

testing::AssertionResult ReadsLikeTheModel(std::string const& bytes) {
    if (auto plain = ReadsLikeTheModel<CsvRead>(bytes, nullptr); !plain) return plain;
    return ReadsLikeTheModel<XCsvRead>(bytes, storage::DefaultDecodeTable());
}

std::string Scrambled(std::string plain, char const* key = nullptr) {
    storage::Substitute(plain.data(), plain.size(),
                        key ? storage::EncodeTable(GetKeyNumber(key)) : storage::DefaultEncodeTable());
    return plain;
}

TEST(RecordReader, DividesByTheRules) {
    using Fields = std::vector<std::string>;
    const struct {
        std::string text;
        Fields fields;  // none: blank or malformed
    } rows[] = {
        {R"("a","b")", {"a", "b"}},
        {R"("a, b","say ""x""","")", {"a, b", R"(say "x")", ""}},
        {"\"a\r\nb\",\"c\r\n\"\r\n", {"a\r\nb", "c\r\n"}},
        {"plain, blank ,5\r\n", {"plain", " blank ", "5"}},
        {",", {"", ""}},
        {"\"\"", {""}},
        {"\"\"\"\"", {"\""}},
        {"", {}},
        {"\r\n\n\r", {}},
        {" \r\n", {" "}},
        {"\"a\"b\"", {}},
        {"a\"b", {}},
        {"\"a\" ,\"b\"", {}},
        {"a\"", {"a"}},
        {"a\",b", {"a", "b"}},
        {"a\"\"b,c", {"a\"b", "c"}},
        {"\"open, to the end", {"open, to the end"}},
        {"\"open\r\n", {"open"}},
        {"\"表\\\",\"ソ\"", {"表\\", "ソ"}},
    };
    for (auto const& row : rows) {
        CsvRead reader;
        EXPECT_EQ(reader.SetLine(row.text.c_str()), static_cast<int>(row.fields.size())) << row.text;
        EXPECT_EQ(reader.GetElementsNumber(), static_cast<int>(row.fields.size())) << row.text;
        EXPECT_EQ(reader.GetLine(), row.text);
        for (std::size_t i = 0; i < row.fields.size(); ++i)
            EXPECT_EQ(reader.GetData(static_cast<int>(i)), row.fields[i]) << row.text;
        EXPECT_EQ(reader.GetData(static_cast<int>(row.fields.size())), nullptr);
        EXPECT_EQ(reader.GetData(-1), nullptr);
        EXPECT_EQ(test::Divide(row.text).fields, row.fields) << row.text;
    }
    CsvRead reader;
    reader.SetLine("a,b");
    EXPECT_EQ(reader.SetLine(nullptr), -1);
    EXPECT_STREQ(reader.GetData(1), "b");
}

// One damaged byte at each place, and each length that a cut can leave.
TEST(RecordReader, ReadsDamagedBytesLikePlainStdio) {
    std::string const plain =
        "\"a\",\"b\",\"\"\r\n\"1,2\",\"x\r\ny\",\"q\"\"q\"\r\n7,,\"表\"\r\n\r\n\"e\",\"f\",\"g\"\r\n";
    for (std::string const& good : {plain, Scrambled(plain)}) {
        for (std::size_t size = 0; size <= good.size(); ++size)
            ASSERT_TRUE(ReadsLikeTheModel(good.substr(0, size))) << "cut at " << size;
        for (std::size_t place = 0; place < good.size(); ++place) {
            for (char const byte : {'"', ',', '\r', '\n', '\0', 'x', '\x81'}) {
                std::string bad = good;
                bad[place] = byte;
                ASSERT_TRUE(ReadsLikeTheModel(bad)) << static_cast<int>(byte) << " at " << place;
                bad.insert(place, 1, byte);
                ASSERT_TRUE(ReadsLikeTheModel(bad)) << static_cast<int>(byte) << " twice at " << place;
            }
        }
    }
}

// A NUL hides the rest of its piece of 1023 bytes, and ends the line if it comes first in one.
TEST(RecordReader, CutsPiecesAtNuls) {
    for (int const place : {0, 5, 1021, 1022, 1023, 1024, 2045, 2046, 2047, 16384, 600000}) {
        std::string const start(static_cast<std::size_t>(place), 'x');
        for (char const* tail : {"tail\r\nnext\r\n", "\n\"a\",\"b\"\r\n", "", "\n"})
            ASSERT_TRUE(ReadsLikeTheModel("\"1\"\r\n" + start + '\0' + tail)) << place << tail;
    }
}

// Random records of all kinds and sizes, so that the ends of blocks and of fgets' pieces fall everywhere.
TEST(RecordReader, ReadsRandomBytesLikePlainStdio) {
    std::mt19937 random(5);
    auto const below = [&](unsigned n) { return static_cast<unsigned>(random() % n); };
    for (int round = 0; round < 16; ++round) {
        std::string bytes;
        std::size_t const wanted = round % 8 == 0 ? 700000 : 40000;
        while (bytes.size() < wanted) {
            std::string field;
            bool const odd = below(40) == 0;
            for (unsigned size = below(odd ? 3000 : 12); size > 0; --size)
                field += odd ? "ab,\"\r\n\x95\\"[below(8)] : static_cast<char>('a' + below(26));
            if (odd && below(6) == 0) field += std::string(1 + below(3), '\0');
            bool const bare = below(200) == 0;
            bytes += bare ? field : '"' + (odd && below(2) ? test::Undoubled(field) : field) + '"';
            bytes += below(3) ? "," : below(60) ? "\r\n" : below(2) ? "\n" : "\"\r\n";
        }
        ASSERT_TRUE(ReadsLikeTheModel<CsvRead>(bytes, nullptr)) << round;
        ASSERT_TRUE(ReadsLikeTheModel<XCsvRead>(Scrambled(bytes), storage::DefaultDecodeTable())) << round;
    }
}

TEST(RecordReader, TakesLinesOfAnyLength) {
    for (int const size : {1020, 1021, 1022, 1023, 1024, 16383, 524288, 1200000}) {
        std::string const field(static_cast<std::size_t>(size), 'x');
        std::string const bytes = "\"1\",\"" + field + "\"\r\n\"2\",\"" + field + "\r\n" + field + "\"\r\n";
        ASSERT_TRUE(ReadsLikeTheModel(Scrambled(bytes))) << size;
        CsvRead reader;
        reader.SetFp(test::OpenBytes(bytes));
        ASSERT_EQ(reader.ReadLine(), 2);
        EXPECT_EQ(reader.GetData(1), field);
        ASSERT_EQ(reader.ReadLine(), 2);
        EXPECT_EQ(reader.GetData(1), field + "\r\n" + field);
        EXPECT_EQ(reader.BytesRead(), static_cast<std::int64_t>(bytes.size()));
    }
}

TEST(RecordReader, GivesOnlyAsManyCellsAsAsked) {
    std::string const bytes = "\"a\",\"b\"\r\n\"a\",\"b\",\"c\",\"d\"\r\n\"a\",\"b\"\"\"\r\n\"broken\r\n";
    CsvRead reader;
    reader.SetFp(test::OpenBytes(bytes));
    CStringPool pool;
    std::vector<std::string> const padded[] = {{"a", "b", ""}, {"a", "b", "c"}, {"a", "b\"", ""}};
    int const counts[] = {2, 4, 2};
    for (int i = 0; i < 3; ++i) {
        Record const record = ReadRowOf(reader, pool, 3);
        EXPECT_EQ(record.result, counts[i]);
        EXPECT_EQ(record.fields, padded[i]);
        EXPECT_EQ(reader.GetElementsNumber(), 0);
        EXPECT_STREQ(reader.GetLine(), "");
    }
    XCStringArrayEx row(1);
    row[0] = "kept";
    EXPECT_EQ(reader.ReadRow(pool, 3, row), storage::RecordReader::read_end);
    EXPECT_STREQ(row[0], "kept");
}

TEST(RecordReader, OpensMovesAndEnds) {
    ScratchFolder folder;
    CString const path = folder.Path("表.csv");
    ASSERT_TRUE(platform::WriteWholeFile(path, "a\r\nb\r\nc\r\nlost"));
    CsvRead reader;
    EXPECT_EQ(reader.OpenFile(nullptr), -1);
    EXPECT_EQ(reader.OpenFile(folder.Path("none")), -1);
    EXPECT_EQ(reader.OpenFile(folder.Path()), -1);  // a directory
    EXPECT_EQ(reader.MoveFirst(), -1);
    EXPECT_EQ(reader.ReadLine(), -1);
    EXPECT_NE(reader.IsEof(), 0);
    EXPECT_EQ(reader.GetFp(), nullptr);

    ASSERT_EQ(reader.OpenFile(path), 1);
    EXPECT_EQ(reader.IsEof(), 0);
    EXPECT_EQ(reader.ReadLine(), 1);
    EXPECT_STREQ(reader.GetLine(), "a\r\n");
    // The stream itself is positioned behind the record: reading from it gives the next bytes.
    char next[4] = {};
    ASSERT_NE(reader.GetFp(), nullptr);
    EXPECT_EQ(std::fread(next, 1, 3, reader.GetFp()), 3U);
    EXPECT_STREQ(next, "b\r\n");
    EXPECT_EQ(reader.ReadLine(), 1);
    EXPECT_STREQ(reader.GetData(0), "c");
    EXPECT_EQ(reader.IsEof(), 0);
    EXPECT_EQ(reader.ReadLine(), -1);
    EXPECT_NE(reader.IsEof(), 0);
    EXPECT_EQ(reader.GetElementsNumber(), 0);
    EXPECT_STREQ(reader.GetLine(), "");
    EXPECT_EQ(reader.ReadLine(), -1);
    ASSERT_EQ(reader.MoveFirst(), 0);
    EXPECT_EQ(reader.IsEof(), 0);
    EXPECT_EQ(reader.ReadLine(), 1);
    EXPECT_STREQ(reader.GetData(0), "a");

    std::FILE* other = platform::OpenStream(path, "rb");
    std::fseek(other, 3, SEEK_SET);
    EXPECT_EQ(reader.SetFp(other), other);
    EXPECT_EQ(reader.ReadLine(), 1);
    EXPECT_STREQ(reader.GetData(0), "b");
    EXPECT_EQ(reader.SetFp(other), other);
    EXPECT_EQ(reader.ReadLine(), 1);
    EXPECT_STREQ(reader.GetData(0), "c");
    EXPECT_EQ(reader.SetFp(nullptr), nullptr);
    EXPECT_EQ(reader.ReadLine(), -1);
    reader.CloseFile();
}

TEST(XCsvRead, ChangesItsTableBetweenRecords) {
    std::string const bytes = Scrambled("\"default\"\r\n") + Scrambled("\"first\"\r\n", "k1") +
                              Scrambled("\"second\"\r\n", "k2") + Scrambled("\"again\"\r\n");
    XCsvRead reader;
    reader.SetFp(test::OpenBytes(bytes));
    const struct {
        char const* key;
        char const* text;
    } steps[] = {{nullptr, "default"}, {"k1", "first"}, {"k2", "second"}, {nullptr, "again"}};
    for (auto const& step : steps) {
        reader.SetUseKey(step.key);
        EXPECT_EQ(reader.ReadLine(), 1);
        EXPECT_STREQ(reader.GetData(0), step.text);
    }
}

}  // namespace
