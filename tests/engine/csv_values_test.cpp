#include "engine/customers/csv_values.h"

#include <gtest/gtest.h>

#include "engine/base/crossing.h"
#include "engine/base/whole_number.h"

namespace {

using customers::FieldRule;

TEST(CsvValues, AreBroughtIntoTheFormThatTheRuleAccepts) {
    constexpr char const* refused = nullptr;
    struct Row {
        FieldRule rule;
        char const* field;
        char const* tidied;
    };
    Row const rows[] = {
        {FieldRule::birth_date, "1988-07-26", "1988/07/26"},
        {FieldRule::birth_date, "1988.7.26", "1988/7/26"},
        {FieldRule::birth_date, "19880726", "1988/07/26"},
        {FieldRule::birth_date, "19881326", refused},
        {FieldRule::birth_date, "1988072", refused},
        {FieldRule::birth_date, "26-07-1988", refused},
        {FieldRule::birth_date, "1988年7月26日", "1988/7/26"},
        {FieldRule::birth_date, "１９８８年７月２６日", "1988/7/26"},
        {FieldRule::birth_date, "1988年7月", refused},
        {FieldRule::birth_date, "昭和63年7月26日", refused},
        {FieldRule::date, "2024-02-29T12:30", "2024/02/29 12:30"},
        {FieldRule::date, "2024-02-30 12:30", refused},
        {FieldRule::code_number, "〒123-4567", "123-4567"},
        {FieldRule::code_number, "〒 123－4567", "123-4567"},
        {FieldRule::code_number, "０９０ー１２３４", "090-1234"},
        {FieldRule::code_number, "03‐1", "03-1"},
        {FieldRule::code_number, "　03-1 ", "03-1"},
        {FieldRule::code_number, " ", ""},
        {FieldRule::code_number, "(03)1", refused},
        {FieldRule::number, "12,000", "12000"},
        {FieldRule::number, "-1,234,567", "-1234567"},
        {FieldRule::number, "１２", "12"},
        {FieldRule::number, "1,23", refused},
        {FieldRule::number, "1234,", refused},
        {FieldRule::number, ",123", refused},
        {FieldRule::number, "12,0000", refused},
        {FieldRule::number, "1,234,567,890", refused},
        {FieldRule::direct_mail, "ｙ", "Y"},
        {FieldRule::direct_mail, " n ", "N"},
        {FieldRule::direct_mail, "yes", refused},
        {FieldRule::delete_flag, "y", "Y"},
        {FieldRule::address, " ａ@example.jp　", "a@example.jp"},
        {FieldRule::address, "a b@example.jp", refused},
        {FieldRule::address, "　", refused},
    };
    for (Row const& row : rows) {
        std::optional<CString> const tidied =
            engine::Tidied({0, "", 0, row.rule}, engine::IntoLibrary(row.field).text);
        EXPECT_EQ(tidied.value_or("(refused)"), row.tidied ? row.tidied : "(refused)") << row.field;
    }
}

// A number ends where its text does, whatever stands behind it in memory.
TEST(WholeNumber, IsTheWholeText) {
    constexpr std::string_view digits = "-1234";
    struct Row {
        std::string_view text;
        std::optional<int> number;
    };
    Row const rows[] = {{digits, -1234},
                        {digits.substr(1, 2), 12},
                        {digits.substr(2, 1), 2},
                        {"", {}},
                        {digits.substr(0, 1), {}},
                        {"1x", {}},
                        {"+1", {}},
                        {" 1", {}},
                        {"2147483647", 2147483647},
                        {"2147483648", {}}};
    for (Row const& row : rows) EXPECT_EQ(engine::WholeNumber(row.text), row.number) << row.text;
}

}  // namespace
