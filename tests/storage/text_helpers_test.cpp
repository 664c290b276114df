#include <gtest/gtest.h>

#include <cstdio>

#include <string>
#include <vector>

#include "platform/file.h"
#include "tessaly/storage/split_string.h"
#include "tessaly/text/check_directory.h"
#include "tessaly/text/date_data.h"
#include "tests/platform/scratch_folder.h"

using enum text::CheckDirectoryResult;

namespace {

std::vector<std::string> Split(char const* text, char const* delimiters, char quote) {
    CArray<CString, CString> out;
    out.Add("left over");
    SplitString(text, out, delimiters, quote);
    std::vector<std::string> fields;
    for (CString const& field : out) fields.emplace_back(field);
    return fields;
}

TEST(SplitString, CutsAtDelimiters) {
    using Fields = std::vector<std::string>;
    const struct {
        char const* text;
        char const* delimiters;
        char quote;
        Fields fields;
    } rows[] = {
        {"a,b", ",", 0, {"a", "b"}},
        {"a,,b", ",", 0, {"a", "", "b"}},
        {"a,", ",", 0, {"a", ""}},
        {"", ",", 0, {""}},
        {",", ",", '"', {"", ""}},
        {"a;b\tc", ";\t", 0, {"a", "b", "c"}},
        {"abc", "", '"', {"abc"}},
        {"\"a,b\",c", ",", '"', {"a,b", "c"}},
        {"\"a,b\",c", ",", 0, {"\"a", "b\"", "c"}},
        {"\"a\"\"b\"", ",", '"', {"a\"b"}},
        {"\"a\"", ",", '"', {"a"}},  // closing quotes at the end leave no empty field
        {"\"a\",", ",", '"', {"a", ""}},
        {"\"\"", ",", '"', {""}},
        {"\"\",\"\"", ",", '"', {"", ""}},
        {"\"\"\"\"", ",", '"', {"\""}},
        {"\"", ",", '"', {""}},
        {"\"a", ",", '"', {"a"}},
        {"\"a,b\"\"", ",", '"', {"a,b\""}},
        {"\"a\"b,c\",d", ",", '"', {"a\"b,c", "d"}},  // a quote in front of other text closes nothing
        {"a\"b\",c", ",", '"', {"a\"b\"", "c"}},      // opened without a quote
        {"a\"\"b", ",", '"', {"a\"\"b"}},
        {"'a,b','c'", ",", '\'', {"a,b", "c"}},
        {"表\\予", "\\", 0, {"表", "予"}},  // their second byte is 0x5C
        {"表,ソ|十", ",|", '"', {"表", "ソ", "十"}},
        {"\"表\"\"能\",\"ｱ,ｲ\"", ",", '"', {"表\"能", "ｱ,ｲ"}},
        {"a\x81", ",", 0, {"a\x81"}},    // a lead byte at the end
        {"\x81,b", ",", 0, {"\x81,b"}},  // and one that takes a delimiter with it
        {"\"\x81\",b", ",", '"', {"\x81\",b"}},
        {"\x80,b\xA0,c", ",", 0, {"\x80,b\xA0", "c"}},
    };
    for (auto const& row : rows)
        EXPECT_EQ(Split(row.text, row.delimiters, row.quote), row.fields) << row.text;
}

TEST(ReFormatDateData, ReadsPartsUntilOneIsWrong) {
    const struct {
        char const* text;
        int upper;
        int parts;
        char const* out;
    } rows[] = {
        {"2004/02/29 12:34:56", 0, 6, "2004/02/29 12:34:56"},
        {"2004/2/29", 0, 3, "2004/02/29 00:00:00"},
        {"2003/2/29", 0, 2, "2003/02/01 00:00:00"},
        {"2003/2/29", 1, 2, "2003/02/28 23:59:59"},
        {"2004/2", 1, 2, "2004/02/29 23:59:59"},
        {"1900/2/29", 0, 2, "1900/02/01 00:00:00"},
        {"2000/2/29 ", 0, 3, "2000/02/29 00:00:00"},
        {"2004/4/31", 1, 2, "2004/04/30 23:59:59"},
        {"2004/12/31 23:59:59", 1, 6, "2004/12/31 23:59:59"},
        {"2004/12/31 23:59:60", 1, 5, "2004/12/31 23:59:59"},
        {"2004/12/31 24:00:00", 0, 3, "2004/12/31 00:00:00"},
        {"2004/13/01 01:02:03", 0, 1, "2004/01/01 00:00:00"},
        {"2004/0/01", 1, 1, "2004/12/31 23:59:59"},
        {"", 0, 0, "1900/01/01 00:00:00"},
        {"", 1, 0, "9999/12/31 23:59:59"},
        {"", 2, 0, "1900/01/01 00:00:00"},
        {nullptr, 1, 0, "9999/12/31 23:59:59"},
        {"1899/12/31 01:01:01", 0, 0, "1900/01/01 00:00:00"},
        {"1900", 0, 1, "1900/01/01 00:00:00"},
        {"9999/1/1", 0, 3, "9999/01/01 00:00:00"},
        {"10000/1/1", 0, 0, "1900/01/01 00:00:00"},
        {"4294969300/1/1", 0, 0, "1900/01/01 00:00:00"},
        {"99999999999999999999999/1/1", 0, 0, "1900/01/01 00:00:00"},
        {"2004//5", 0, 1, "2004/01/01 00:00:00"},
        {"2004/5/6 7", 0, 4, "2004/05/06 07:00:00"},
        {"2004/5/6 7:8", 1, 5, "2004/05/06 07:08:59"},
        {"2004/5/6 7:8:", 0, 5, "2004/05/06 07:08:00"},
        {"2004/5/6 7:8:9 pm", 0, 6, "2004/05/06 07:08:09"},
        {"2004/5/6 -1:8:9", 0, 3, "2004/05/06 00:00:00"},
        {"2004年/5", 0, 2, "2004/05/01 00:00:00"},
    };
    for (auto const& row : rows) {
        char out[text::date_data_size + 1] = {};
        out[text::date_data_size] = '#';
        EXPECT_EQ(ReFormat_DateData(row.text, out, row.upper), row.parts) << (row.text ? row.text : "null");
        EXPECT_STREQ(out, row.out);
        EXPECT_EQ(out[text::date_data_size], '#');
        EXPECT_EQ(ReFormat_DateData(row.text, nullptr, row.upper), row.parts);
    }
}

// Texts in the stored form are handled separately; the result must be the same.
TEST(ReFormatDate, WrittenAsStoredOrNotItIsTheSameDate) {
    for (int year : {1899, 1900, 2003, 2004, 9999})
        for (int month = 0; month <= 13; ++month)
            for (int day = 0; day <= 32; ++day)
                for (char const* time :
                     {"", " 00", " 23", " 24", " 09:59", " 09:60", " 09:08:07", " 09:08:60", " 09:08:07 "})
                    for (int upper : {0, 1}) {
                        char stored[64], plain[64], from_stored[text::date_data_size] = {},
                                                    from_plain[text::date_data_size] = {};
                        std::snprintf(stored, sizeof stored, "%04d/%02d/%02d%s", year, month, day, time);
                        std::snprintf(plain, sizeof plain, "0%d/0%d/0%d%s", year, month, day, time);
                        EXPECT_EQ(ReFormat_DateData(plain, from_plain, upper),
                                  ReFormat_DateData(stored, from_stored, upper))
                            << stored;
                        EXPECT_STREQ(from_plain, from_stored) << stored;
                    }
}

TEST(CheckDirectory, KnowsDirectories) {
    ScratchFolder folder;
    ASSERT_TRUE(platform::MakeDirectory(folder.Path("表示")));
    ASSERT_TRUE(platform::WriteWholeFile(folder.Path("file"), "x"));
    EXPECT_EQ(CheckDirectory(folder.Path("表示")), directory_exists);
    EXPECT_EQ(CheckDirectory(folder.Path("表示\\")), directory_exists);
    EXPECT_EQ(CheckDirectory("C:"), directory_exists);
    for (char const* missing : {"file", "none", "file\\none"})
        EXPECT_EQ(CheckDirectory(folder.Path(missing)), directory_missing) << missing;
    EXPECT_EQ(CheckDirectory(""), directory_missing);
    EXPECT_EQ(CheckDirectory(nullptr), directory_missing);
}

}  // namespace
