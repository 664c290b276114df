#pragma once

#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/text/date_data.h"

namespace customers {

// How a field of an import file becomes the value of an element. In all but `address` an empty field is
// accepted and gives an empty value.
enum class FieldRule {
    address,      // must be accepted by MailAddressChecker; empty is refused
    birth_date,   // a date with year, month and day; stored as the whole 19 bytes of its date text
    code_number,  // digits, "-" and "+" only
    direct_mail,  // "Y" or "N"; anything else is accepted as `bad_direct_mail`
    delete_flag,  // "Y" only
    number,       // accepted by CheckNumberData; stored as a decimal int
    date,         // year, month and day at least; stored as far as the field gives it
    text,         // anything
};

// Neither "Y" nor "N": the line is refused for a new customer, and keeps the stored value of a known one.
inline constexpr char bad_direct_mail[] = "E";

// `type`: the element's type by Get_DBElementInfo (0 string, 1 number, 2 date).
TESSALY_API FieldRule RuleOf(int element, int type) noexcept;

// Checks a field, which holds no NUL, and gives its value: a view of the field itself or of `converted`.
// false when the rule refuses it; the value is then empty.
TESSALY_API bool TakeField(FieldRule rule, std::string_view field, char (&converted)[text::date_data_size],
                           std::string_view& value);

// A field for which ImportDBfromFile refused its line.
struct RefusedField {
    int line = 0;  // from 1
    int element = 0;
    FieldRule rule = FieldRule::text;
    CString value;  // as in the file; empty for an address that the line lacks
};

}  // namespace customers
