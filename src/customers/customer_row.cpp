#include "customers/customer_row.h"

#include <algorithm>
#include <string>

#include "tessaly/customers/customer_elements.h"
#include "tessaly/customers/one_customer.h"
#include "tessaly/text/dates.h"

namespace customers {
namespace {

CString Beginning(std::string_view text, std::size_t bytes) { return CString(text.substr(0, bytes)); }

CString DateText(COleDateTime const& date) {
    char text[text::date_data_size];
    Convert_COleDateTime2DateData(date, text);
    return text;
}

}  // namespace

CString PresentTime() {
    char text[text::date_data_size];
    GetNowDateTime(text);
    return text;
}

COleDateTime DateOf(std::string_view cell) {
    char text[date_text_bytes + 1] = {};
    cell.copy(text, date_text_bytes);
    return Convert_DateData2COleDateTime(text);
}

CString WithoutHyphens(CString const& text) {
    std::string cut(text.View());
    std::erase(cut, '-');
    return CString(cut);
}

void SetDefaults(OneCustomer& c) {
    c = OneCustomer();
    c.DMOk = yes_text;
    c.OtherOk = yes_text;
    c.EntryDate = c.RenewalDate = COleDateTime::GetCurrentTime();
}

void SetFromRow(OneCustomer& c, XCStringArrayEx const& row) {
    for (int element = 0; element < element_count; ++element)
        if (auto const member = DefinitionOf(element).member) c.*member = row.GetAt(element);
    c.Birthday = Beginning(c.Birthday.View(), birthday_bytes);
    for (auto const flag : {&OneCustomer::DMOk, &OneCustomer::OtherOk, &OneCustomer::DeleteFlag})
        c.*flag = Beginning((c.*flag).View(), 1);
    c.EntryDate = DateOf(row.GetAt(element_entry_date).View());
    c.RenewalDate = DateOf(row.GetAt(element_renewal_date).View());
}

void FillRow(XCStringArrayEx& row, OneCustomer const& c) {
    row.RemoveAll();
    row.SetSize(element_count);
    row[element_id].Format("%d", c.CustomerID);
    for (int element = 0; element < element_count; ++element)
        if (auto const member = DefinitionOf(element).member) row[element] = c.*member;
    row[element_entry_date] = DateText(c.EntryDate);
    row[element_renewal_date] = DateText(c.RenewalDate);
}

}  // namespace customers
