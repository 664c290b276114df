#include "engine/environment/settings_catalogue.h"

#include <gtest/gtest.h>

#include <set>

#include "tessaly/environment.h"

namespace {

TEST(SettingsCatalogue, EachSettingHasACellOfItsOwnAndAGoodDefault) {
    std::set<int> cells;
    std::set<std::string> names;
    for (engine::Setting const& setting : engine::SettingsCatalogue()) {
        EXPECT_TRUE(setting.cell >= 0 && setting.cell < SystemOption::cell_count) << setting.name;
        EXPECT_TRUE(cells.insert(setting.cell).second) << setting.name;
        EXPECT_TRUE(names.insert(setting.name).second) << setting.name;
        EXPECT_EQ(engine::RefusalOf(setting, setting.default_value), "") << setting.name;
        EXPECT_EQ(engine::FromCell(setting, engine::ForCell(setting, setting.default_value)),
                  setting.default_value);
    }
    // Data of this application on disk lies in these cells.
    for (auto const& [name, cell] : {std::pair("smtp.host", 0),
                                     {"smtp.password", 4},
                                     {"from.address", 7},
                                     {"return.address", 82},
                                     {"attribute.A.name", 14},
                                     {"attribute.T.name", 33},
                                     {"attribute.A.type", 34},
                                     {"attribute.T.type", 53},
                                     {"import.flag", 111}})
        EXPECT_EQ(engine::FindSetting(name)->cell, cell) << name;
    EXPECT_EQ(engine::FindSetting("smtp"), nullptr);
    EXPECT_EQ(engine::FindSetting("attribute.U.name"), nullptr);
}

TEST(SettingsCatalogue, RefusesWhatASettingCannotHold) {
    using namespace std::string_view_literals;
    struct Row {
        std::string_view name, value;
        bool good;
    };
    Row const rows[] = {
        {"smtp.port", "1", true},
        {"smtp.port", "65535", true},
        {"smtp.port", "0", false},
        {"smtp.port", "65536", false},
        {"smtp.port", "", false},
        {"smtp.port", "25 ", false},
        {"smtp.port", "0x19", false},
        {"smtp.port", "99999999999999999999", false},
        {"smtp.auth", "login", true},
        {"smtp.auth", "LOGIN", false},
        {"smtp.auth", "", false},
        {"from.name", "", true},
        {"from.name", "表\nBcc: a", false},
        {"from.name", "a\r", false},
        {"mailer", "a\0b"sv, false},
        {"attribute.C.type", "date", true},
        {"attribute.C.type", "1", false},
        {"retry.max", "-1", false},
        {"smtp.password", " =\" ", true},
        {"return.address", "", true},
        {"return.address", "bounce+*@shop.example.jp", true},
        {"return.address", "*@example.jp", true},
        {"return.address", "bounce@example.jp", false},
        {"return.address", "b*+*@example.jp", false},
        {"return.address", "bounce@*.example.jp", false},
        {"return.address", "bounce+*", false},
        {"return.address", "a b*@example.jp", false},
        {"return.address", "返*@example.jp", false},
        {"return.address", "22-letters-and-a-dash-*@example.jp", true},
        {"return.address", "23-letters-and-a-dash--*@example.jp", true},
        {"return.address", "24-letters-and-a-dash---*@example.jp", false},
    };
    for (Row const& row : rows)
        EXPECT_EQ(engine::RefusalOf(*engine::FindSetting(row.name), row.value).empty(), row.good)
            << row.name << "=" << row.value;
}

TEST(SettingsCatalogue, TypesOfAttributesAreDigitsOnDisk) {
    engine::Setting const& type = *engine::FindSetting("attribute.B.type");
    EXPECT_EQ(engine::ForCell(type, "text"), "0");
    EXPECT_EQ(engine::ForCell(type, "number"), "1");
    EXPECT_EQ(engine::ForCell(type, "date"), "2");
    for (char const* damaged : {"", "3", "-1", "x", "99999999999"})
        EXPECT_EQ(engine::FromCell(type, damaged), "text");
}

}  // namespace
