#include "tessaly/customers/field_rules.h"

#include <charconv>
#include <cstdlib>
#include <string>

#include "tessaly/customers/customer_elements.h"
#include "tessaly/storage/my_db.h"
#include "tessaly/text/value_checks.h"

using enum storage::_MYDB_DATATYPE;

namespace customers {
namespace {

constexpr std::string_view code_number_bytes = "1234567890-+";
constexpr int birth_date_parts = 3;
constexpr int defaults_of_lower_end = 0;  // of ReFormat_DateData

struct ElementRule {
    int first;
    int last;
    FieldRule rule;
};
constexpr ElementRule element_rules[] = {
    {element_address, element_address, FieldRule::address},
    {element_birthday, element_birthday, FieldRule::birth_date},
    {element_zip_code_1, element_zip_code_2, FieldRule::code_number},
    {element_phone_1, element_portable_2, FieldRule::code_number},
    {element_direct_mail, element_direct_mail, FieldRule::direct_mail},
    {element_delete_flag, element_delete_flag, FieldRule::delete_flag},
};

bool TakeBirthDate(std::string_view field, char (&converted)[text::date_data_size], std::string_view& value) {
    if (text::ReFormatDate(field, converted, defaults_of_lower_end) < birth_date_parts) return false;
    value = {converted, date_text_bytes};
    return true;
}

bool TakeDate(std::string_view field, char (&converted)[text::date_data_size], std::string_view& value) {
    value = text::DateAsGiven(field, converted);
    return !value.empty();
}

bool TakeNumber(std::string_view field, char (&converted)[text::date_data_size], std::string_view& value) {
    std::string const text(field);
    if (!CheckNumberData(text.c_str())) return false;
    char const* end = std::to_chars(converted, converted + sizeof converted, std::atoi(text.c_str())).ptr;
    value = {converted, static_cast<std::size_t>(end - converted)};
    return true;
}

bool TakeIf(bool accepted, std::string_view field, std::string_view& value) {
    if (accepted) value = field;
    return accepted;
}

}  // namespace

FieldRule RuleOf(int element, int type) noexcept {
    for (ElementRule const& entry : element_rules)
        if (element >= entry.first && element <= entry.last) return entry.rule;
    if (type == mydb_number) return FieldRule::number;
    return type == mydb_date ? FieldRule::date : FieldRule::text;
}

bool TakeField(FieldRule rule, std::string_view field, char (&converted)[text::date_data_size],
               std::string_view& value) {
    value = {};
    if (field.empty()) return rule != FieldRule::address;
    switch (rule) {
        case FieldRule::address: return TakeIf(MailAddressChecker(std::string(field).c_str()), field, value);
        case FieldRule::birth_date: return TakeBirthDate(field, converted, value);
        case FieldRule::code_number:
            return TakeIf(field.find_first_not_of(code_number_bytes) == std::string_view::npos, field, value);
        case FieldRule::direct_mail:
            value = field == yes_text || field == no_text ? field : std::string_view(bad_direct_mail);
            return true;
        case FieldRule::delete_flag: return TakeIf(field == yes_text, field, value);
        case FieldRule::number: return TakeNumber(field, converted, value);
        case FieldRule::date: return TakeDate(field, converted, value);
        case FieldRule::text: break;
    }
    value = field;
    return true;
}

}  // namespace customers
