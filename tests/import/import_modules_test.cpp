#include <gtest/gtest.h>

#include <random>
#include <string>

#include "import/customer_id_source.h"
#include "import/line_fields.h"
#include "import/line_reader.h"
#include "platform/file.h"
#include "tessaly/customers/field_rules.h"
#include "tessaly/storage/split_string.h"
#include "tests/customers/customer_fixture.h"

using enum environment::SeqIDType;

using namespace customers;

namespace {

std::vector<std::string> LinesOf(CString const& path) {
    LineReader reader;
    std::vector<std::string> lines;
    std::string_view text;
    EXPECT_TRUE(reader.Open(path));
    while (reader.Next(text) == LineReader::Status::line) lines.emplace_back(text);
    EXPECT_EQ(LineReader::Status::end, reader.Next(text));
    return lines;
}

}  // namespace

TEST(LineReader, DividesAFileIntoLines) {
    using namespace std::string_literals;
    ScratchFolder folder;
    struct Case {
        std::string content;
        std::vector<std::string> lines;
    };
    Case const cases[] = {{"", {}},
                          {"\n", {""}},
                          {"a", {"a"}},
                          {"a\nb\r\n", {"a", "b"}},
                          {"a\r\r\n\r\nb", {"a", "", "b"}},
                          {"a\rb\n", {"a\rb"}},
                          {"a\0b\nc\0"s, {"a", "c"}},
                          {"a\r\0b\n"s, {"a"}},
                          {"\xFF\xFE\n\x80\n", {"\xFF\xFE", "\x80"}}};
    CString const path = folder.Path("lines.csv");
    for (Case const& c : cases) {
        ASSERT_TRUE(platform::WriteWholeFile(path, c.content));
        EXPECT_EQ(c.lines, LinesOf(path)) << testing::PrintToString(c.content);
    }
    LineReader reader;
    EXPECT_FALSE(reader.Open(folder.Path()));
    EXPECT_FALSE(reader.Open(folder.Path("missing.csv")));
}

// Lines around the size of a block, and one of many blocks, which must not cost its square.
TEST(LineReader, ReadsLinesOfAnyLength) {
    ScratchFolder folder;
    constexpr std::size_t block = 256 << 10;
    std::vector<std::string> lines = {std::string(block - 1, 'a'),
                                      std::string(block, 'b'),
                                      "x",
                                      std::string(block + 1, 'c'),
                                      std::string(6 * block, 'd'),
                                      "",
                                      "y"};
    std::string content;
    for (std::string const& line : lines) content += line + "\n";
    content.pop_back();
    ASSERT_TRUE(platform::WriteWholeFile(folder.Path("long.csv"), content));
    EXPECT_EQ(lines, LinesOf(folder.Path("long.csv")));
    LineReader limited(2 * block);
    ASSERT_TRUE(limited.Open(folder.Path("long.csv")));
    std::string_view text;
    for (int i = 0; i < 4; ++i) ASSERT_EQ(LineReader::Status::line, limited.Next(text));
    EXPECT_EQ(LineReader::Status::failed, limited.Next(text));
    EXPECT_EQ(LineReader::Status::failed, limited.Next(text));
}

TEST(LineFields, GiveWhatSplitStringGives) {
    std::mt19937 random(5);
    constexpr std::string_view bytes = "a,;\"'\t\\\x81\x80\xE0\xFC\x5C ";
    for (int round = 0; round < 20000; ++round) {
        std::string line;
        for (std::size_t size = random() % 14; size > 0; --size) line += bytes[random() % bytes.size()];
        char const quote = "\"'\0"[round % 3];
        CString const delimiters = round % 2 ? "," : "\t,;";
        CArray<CString, CString> expected;
        SplitString(CString(line), expected, delimiters, quote);
        LineFields fields(delimiters, quote);
        fields.Divide(line);
        ASSERT_EQ(expected.GetSize(), fields.Count()) << testing::PrintToString(line);
        for (int i = 0; i < fields.Count(); ++i)
            ASSERT_EQ(expected[i].View(), fields.At(i)) << testing::PrintToString(line) << " " << i;
    }
}

TEST(FieldRules, CheckAndConvert) {
    struct Case {
        int element;
        int type;
        char const* field;
        bool accepted;
        char const* value;
    };
    Case const cases[] = {{1, 0, "", false, ""},
                          {1, 0, "a@example.jp", true, "a@example.jp"},
                          {1, 0, "a@example", false, ""},
                          {8, 0, "1970/2/3", true, "1970/02/03 00:00:00"},
                          {8, 0, "1970/2", false, ""},
                          {9, 0, "123-4567", true, "123-4567"},
                          {10, 0, "１２３", false, ""},
                          {11, 0, "123-x", true, "123-x"},
                          {15, 0, "+81-3", true, "+81-3"},
                          {20, 0, "03 1234", false, ""},
                          {21, 0, "Y", true, "Y"},
                          {21, 0, "", true, ""},
                          {21, 0, "YN", true, "E"},
                          {53, 0, "Y", true, "Y"},
                          {53, 0, "N", false, ""},
                          {0, 1, "007", true, "7"},
                          {29, 1, "-5", true, "-5"},
                          {29, 1, "+123456789", true, "123456789"},
                          {29, 1, "1234567890", false, ""},
                          {30, 2, "2004/2/29", true, "2004/02/29"},
                          {54, 2, "2004/2/29 1:2:3", true, "2004/02/29 01:02:03"},
                          {28, 0, "何でも,\"", true, "何でも,\""},
                          {28, 7, "x", true, "x"}};
    for (Case const& c : cases) {
        char converted[text::date_data_size];
        std::string_view value = "old";
        EXPECT_EQ(c.accepted, TakeField(RuleOf(c.element, c.type), c.field, converted, value))
            << c.element << " " << c.field;
        EXPECT_EQ(c.value, value) << c.element << " " << c.field;
    }
}

// Dates in their stored form are recognised without a full reading; the results must be the same.
TEST(FieldRules, StoreDatesAsReformattingDoes) {
    std::mt19937 random(3);
    for (int round = 0; round < 50000; ++round) {
        int const years[] = {1899, 1900, 2003, 2004, 9999};
        CString date;
        date.Format("%04d/%02d/%02d %02d:%02d:%02d", years[random() % 5], static_cast<int>(random() % 14),
                    static_cast<int>(random() % 33), static_cast<int>(random() % 25),
                    static_cast<int>(random() % 61), static_cast<int>(random() % 61));
        std::string field(date.View().substr(0, random() % 21));
        if (random() % 2 && !field.empty()) field[random() % field.size()] = "0/: -+1"[random() % 7];
        if (field.empty()) continue;
        char expected[text::date_data_size];
        int const parts = ReFormat_DateData(field.c_str(), expected, 0);
        static constexpr int sizes[] = {0, 0, 0, 10, 13, 16, 19};
        char converted[text::date_data_size];
        std::string_view value;
        ASSERT_EQ(parts >= 3, TakeField(FieldRule::date, field, converted, value)) << field;
        ASSERT_EQ(std::string_view(expected, sizes[parts]), value) << field;
        ASSERT_EQ(parts >= 3, TakeField(FieldRule::birth_date, field, converted, value)) << field;
        ASSERT_EQ(parts >= 3 ? expected : "", value) << field;
    }
}

class CustomerIDSourceTest : public CustomerTest {
  protected:
    void SetSequence(int value) {
        Sequencer sequence(&env, seq_customer);
        ASSERT_TRUE(sequence.SetValue(value));
    }
    static constexpr int limit = 9'999'999;
};

// Drawn in blocks, the values and the file at the end are those of drawing one by one.
TEST_F(CustomerIDSourceTest, LeavesTheSequenceAsDrawingOneByOneWould) {
    for (int const count : {0, 1, 2, 3, 4, 100, 1000}) {
        SetSequence(5);
        {
            CustomerIDSource ids(&env);
            for (int i = 0; i < count; ++i) {
                int id = -1;
                ASSERT_TRUE(ids.Next(id));
                ASSERT_EQ(5 + i, id);
            }
        }
        EXPECT_EQ(std::to_string(5 + count), Sequence());
    }
    for (int const left : {0, 1, 2, 5, 100}) {
        SetSequence(limit - left);
        CustomerIDSource ids(&env);
        int id = -1;
        for (int i = 0; i < left; ++i) {
            ASSERT_TRUE(ids.Next(id)) << left << " " << i;
            ASSERT_EQ(limit - left + i, id);
        }
        EXPECT_FALSE(ids.Next(id)) << left;
        EXPECT_EQ(std::to_string(limit), Sequence());
    }
}

TEST_F(CustomerIDSourceTest, MovesPastTheTableAndNeverBack) {
    struct Case {
        int present, largest;
        bool moved;
        char const* file;
    };
    Case const cases[] = {{7, -1, true, "7"},
                          {7, 6, true, "7"},
                          {7, 7, true, "8"},
                          {7, 500, true, "501"},
                          {7, limit - 1, true, "9999999"},
                          {7, limit, false, "7"}};
    for (Case const& c : cases) {
        SetSequence(c.present);
        EXPECT_EQ(c.moved, CustomerIDSource(&env).MovePast(c.largest)) << c.largest;
        EXPECT_EQ(c.file, Sequence()) << c.largest;
    }
    // Values that another object has drawn meanwhile are not returned.
    SetSequence(0);
    {
        CustomerIDSource ids(&env);
        int id;
        for (int i = 0; i < 10; ++i) ids.Next(id);
        SetSequence(1000);
    }
    EXPECT_EQ("1000", Sequence());
}
