#include "customers/registration_mail.h"

#include <cstdlib>
#include <string>

#include "customers/customer_row.h"
#include "storage/decimal.h"
#include "tessaly/storage/my_db.h"
#include "tessaly/text/date_data.h"
#include "tessaly/text/value_checks.h"

using enum storage::_MYDB_DATATYPE;

namespace customers {

namespace {

constexpr auto npos = std::string_view::npos;
constexpr int parts_of_day = 3;
constexpr int day_text_bytes = 10;
constexpr std::size_t longest_value = 65535;
constexpr char const* code_digits = "1234567890";
constexpr char const* code_bytes = "1234567890-";

enum class Check { by_type, address, birthday, digits, digits_and_hyphen, yes_or_no };

struct Tag {
    char const* name;
    int element;
    Check check = Check::by_type;
};
constexpr Tag tags[] = {
    {"EMAIL", 1, Check::address},
    {"NAME_SEI", 2},
    {"NAME_MEI", 3},
    {"NAME_KANASEI", 4},
    {"NAME_KANAMEI", 5},
    {"COMPANY", 6},
    {"POST", 7},
    {"BIRTHDAY", 8, Check::birthday},
    {"ZIPCODE_1", 9, Check::digits},
    {"ZIPCODE_2", 10},
    {"PREFECTURE", 11},
    {"ADDRESS_1", 12},
    {"ADDRESS_2", 13},
    {"BUILDING", 14},
    {"PHONE_1", 15, Check::digits},
    {"PHONE_2", 16, Check::digits_and_hyphen},
    {"FAX_1", 17, Check::digits},
    {"FAX_2", 18, Check::digits_and_hyphen},
    {"PORTABLE_1", 19, Check::digits},
    {"PORTABLE_2", 20, Check::digits_and_hyphen},
    {"DMOK", 21, Check::yes_or_no},
};
// Each stands for an element and the one behind it.
constexpr Tag whole_value_tags[] = {
    {"ZIPCODE_3", 9, Check::digits_and_hyphen},   {"ADDRESS_3", 13},
    {"PHONE_3", 15, Check::digits_and_hyphen},    {"FAX_3", 17, Check::digits_and_hyphen},
    {"PORTABLE_3", 19, Check::digits_and_hyphen},
};
constexpr int building = 14, street = 13, prefecture = 11;
constexpr int first_numbers[] = {15, 17, 19};  // telephone, fax, mobile; the second part is the next element
// Some forms in use have this closing tag.
constexpr std::string_view misspelt_prefecture = "</PREFCTURE>";

std::string WithoutLineEnds(std::string_view text) {
    std::string kept(text);
    std::erase_if(kept, [](char c) { return c == '\r' || c == '\n'; });
    return kept;
}

enum class Field { absent, bad, closed };

Field Find(std::string_view text, Tag const& tag, std::string_view& value) {
    std::string const opening = std::string("<") + tag.name + ">",
                      closing = std::string("</") + tag.name + ">";
    std::size_t const at = text.find(opening);
    if (at == npos) return Field::absent;
    std::size_t const begin = at + opening.size();
    std::size_t end = text.find(closing, begin);
    if (end == npos && tag.element == prefecture) end = text.find(misspelt_prefecture, begin);
    if (end == npos || end - begin > longest_value) return Field::bad;
    value = text.substr(begin, end - begin);
    return Field::closed;
}

bool TakeDate(CString const& text, CString& value) {
    char date[text::date_data_size];
    value = CString(text::DateAsGiven(text.View(), date));
    return !value.IsEmpty();
}

bool TakeByType(int type, CString const& text, CString& value) {
    if (type == mydb_date) return TakeDate(text, value);
    if (type != mydb_number) return true;
    if (!CheckNumberData(text)) return false;
    value = storage::Decimal(std::atoi(text));
    return true;
}

bool Take(Check check, int type, CString const& text, CString& value) {
    value = text;
    if (check == Check::address) return MailAddressChecker(text) == 1;
    if (text.IsEmpty()) return true;
    switch (check) {
        case Check::birthday:
            if (!CheckDateTypeData(text, parts_of_day) || !TakeDate(text, value)) return false;
            value = value.Left(day_text_bytes);
            return true;
        case Check::digits: return CheckSpecialStringData(text, code_digits) == 1;
        case Check::digits_and_hyphen: return CheckSpecialStringData(text, code_bytes) == 1;
        case Check::yes_or_no: return text == yes_text || text == no_text;
        default: return TakeByType(type, text, value);
    }
}

// `found`: whether the tag holds a good value. false for a mail that is refused.
bool Read(std::string_view text, Tag const& tag, int type, bool strict, CString& value, bool& found) {
    std::string_view field;
    Field const state = Find(text, tag, field);
    found = state == Field::closed && Take(tag.check, type, CString(field), value);
    bool const required = tag.check == Check::address;
    return found || (state == Field::absent ? !required : !required && !strict);
}

bool ReadOne(std::string_view text, Tag const& tag, ElementTypes const& types, bool strict,
             ElementValues& values) {
    auto const element = static_cast<std::size_t>(tag.element);
    bool found = false;
    CString value;
    if (!Read(text, tag, types[element], strict, value, found)) return false;
    if (found) values[element] = value;
    return true;
}

void JoinParts(ElementValues& values) {
    CString& zip = values[element_zip_code_1];
    zip += values[element_zip_code_2];
    zip = WithoutHyphens(zip);
    values[element_zip_code_2].Empty();
    values[street] += values[building];
    values[building].Empty();
    for (int const first : first_numbers) {
        CString &number = values[static_cast<std::size_t>(first)],
                &rest = values[static_cast<std::size_t>(first) + 1];
        if (!rest.IsEmpty()) number += (number.IsEmpty() ? "" : "-") + rest;
        rest.Empty();
    }
}

}  // namespace

bool ReadRegistration(std::string_view text, ElementTypes const& types, bool strict, ElementValues& values) {
    values = {};
    std::string const joined = WithoutLineEnds(text);
    for (Tag const& tag : tags)
        if (!ReadOne(joined, tag, types, strict, values)) return false;
    for (int element = element_first_attribute; element <= element_last_attribute; ++element) {
        std::string const name =
            std::string("EXTRA_") + static_cast<char>('A' + (element - element_first_attribute));
        if (!ReadOne(joined, {name.c_str(), element}, types, strict, values)) return false;
    }
    for (Tag const& tag : whole_value_tags) {
        auto const element = static_cast<std::size_t>(tag.element);
        bool found = false;
        CString value;
        if (!Read(joined, tag, mydb_string, strict, value, found)) return false;
        if (!found) continue;
        values[element] = value;
        values[element + 1].Empty();
    }
    JoinParts(values);
    return true;
}

}  // namespace customers
