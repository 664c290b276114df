#pragma once

#include <cstddef>

#include "tessaly/customers/one_customer.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

// The 56 columns of the customer row. An element number is a column number; send histories, extraction
// conditions and import assignments hold these numbers, and database.dat their columns, so they never change.

// The description of one element by CDatabaseEdit::Get_DBElementInfo.
struct DB_Element_Info {
    int ElementNumber = 0;
    CString Title;  // empty for the elements that are never shown
    int Type = 0;   // _MYDB_DATATYPE: 0 string, 1 number, 2 date
};

namespace customers {

enum Element : int {
    element_id = 0,
    element_address = 1,
    element_birthday = 8,
    element_zip_code_1 = 9,
    element_zip_code_2 = 10,
    element_phone_1 = 15,
    element_portable_2 = 20,
    element_direct_mail = 21,
    element_other_mail = 22,
    element_first_attribute = 28,
    element_last_attribute = 47,
    element_delete_flag = 53,
    element_entry_date = 54,
    element_renewal_date = 55,
    element_count = 56,
};

inline constexpr char yes_text[] = "Y";
inline constexpr char no_text[] = "N";
inline constexpr std::size_t birthday_bytes = 19;
inline constexpr std::size_t date_text_bytes = 19;

struct ElementDefinition {
    char const* title;             // null for an attribute, whose title and type stand in the settings
    int type;                      // _MYDB_DATATYPE
    CString OneCustomer::*member;  // null where OneCustomer holds no text for it
};

constexpr bool IsElement(int element) noexcept { return element >= 0 && element < element_count; }
constexpr bool IsAttribute(int element) noexcept {
    return element >= element_first_attribute && element <= element_last_attribute;
}
// `element` must be an element number.
TESSALY_API ElementDefinition const& DefinitionOf(int element) noexcept;

}  // namespace customers
