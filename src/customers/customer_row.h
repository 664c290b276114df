#pragma once

#include <string_view>

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/storage/string_array_ex.h"

struct OneCustomer;

// The row form of a customer, 56 texts (customers/customer_elements.h): in the customer table, and in other
// tables of the same columns.
namespace customers {

// The present local time as a date text.
CString PresentTime();
// The date of a cell's first 19 bytes; the zero date where they hold none.
COleDateTime DateOf(std::string_view cell);
CString WithoutHyphens(CString const& text);

// The defaults of a new customer: "Y" in DMOk and OtherOk, the present time in both dates, no ID.
void SetDefaults(OneCustomer& c);
// Everything but the ID. A birthday is cut to 19 bytes, the three flags to one byte.
void SetFromRow(OneCustomer& c, XCStringArrayEx const& row);
// A row with exactly the values of `c`; elements without a member are empty.
void FillRow(XCStringArrayEx& row, OneCustomer const& c);

}  // namespace customers
