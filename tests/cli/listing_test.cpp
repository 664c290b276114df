#include "cli/listing.h"

#include <gtest/gtest.h>

#include <sstream>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_number.h"

namespace {

std::string Listed(cli::ListFormat format, std::vector<std::string> const& titles,
                   std::vector<std::vector<std::string>> const& rows) {
    std::ostringstream out;
    cli::Listing listing(out, format, titles);
    for (std::vector<std::string> const& row : rows) listing.Add(row);
    listing.End();
    return out.str();
}

TEST(Listing, TheSameRowsAsTableCsvAndJson) {
    std::vector<std::string> const titles = {"ID", "名前(姓)", "備考"};
    std::vector<std::vector<std::string>> const rows = {
        {"1", "表", "a,b"}, {"20", "ｱ\"\\\x1B[1m", "改行\r\nあり\t"}, {"", "", ""}};
    EXPECT_EQ(Listed(cli::ListFormat::table, titles, rows),
              "ID  名前(姓)  備考\n"
              "1   表        a,b\n"
              "20  ｱ\"\\ [1m   改行 あり \n"
              "              \n");
    EXPECT_EQ(Listed(cli::ListFormat::csv, titles, rows),
              "ID,名前(姓),備考\n"
              "1,表,\"a,b\"\n"
              "20,\"ｱ\"\"\\\x1B[1m\",\"改行\r\nあり\t\"\n"
              ",,\n");
    EXPECT_EQ(Listed(cli::ListFormat::json, titles, rows),
              "[\n"
              "  {\"ID\": \"1\", \"名前(姓)\": \"表\", \"備考\": \"a,b\"},\n"
              "  {\"ID\": \"20\", \"名前(姓)\": \"ｱ\\\"\\\\\\u001b[1m\", \"備考\": "
              "\"改行\\u000d\\u000aあり\\u0009\"},\n"
              "  {\"ID\": \"\", \"名前(姓)\": \"\", \"備考\": \"\"}\n"
              "]\n");
    EXPECT_EQ(Listed(cli::ListFormat::json, titles, {}), "[]\n");
    EXPECT_THROW(cli::ListFormatOf("xml"), engine::Failure);
}

TEST(Listing, ATableCutsLongCellsBetweenCharacters) {
    std::string kanji;
    for (int i = 0; i < 25; ++i) kanji += "表";
    std::string const cut = kanji.substr(0, 19 * 3) + "..";
    EXPECT_EQ(Listed(cli::ListFormat::table, {"a", "b"}, {{kanji, "x"}, {"a" + kanji, "y"}}),
              "a" + std::string(41, ' ') + "b\n" + cut + "  x\na" + kanji.substr(0, 18 * 3) + "..   y\n");
}

TEST(Listing, TheFirstRowsSetTheWidths) {
    std::vector<std::vector<std::string>> rows(200, {"1", "a"});
    rows.push_back({"長い", "b"});
    std::string const table = Listed(cli::ListFormat::table, {"n", "x"}, rows);
    EXPECT_TRUE(table.starts_with("n  x\n1  a\n")) << table.substr(0, 40);
    EXPECT_TRUE(table.ends_with("1  a\n長い  b\n")) << table.substr(table.size() - 40);
}

TEST(Progress, NumbersAreGroupedByThousands) {
    EXPECT_EQ(engine::Grouped(0), "0");
    EXPECT_EQ(engine::Grouped(999), "999");
    EXPECT_EQ(engine::Grouped(1000), "1,000");
    EXPECT_EQ(engine::Grouped(18446744073709551615U), "18,446,744,073,709,551,615");
}

}  // namespace
