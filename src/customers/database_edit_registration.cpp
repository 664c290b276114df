#include <cstddef>

#include "customers/database_lock.h"
#include "customers/registration_mail.h"
#include "tessaly/customers/database_edit.h"

using enum storage::ErrorCode;

using namespace customers;

int CDatabaseEdit::ConvertEMailToOneCunstomer(char const* text, OneCustomer& c, int strict) {
    DatabaseLock const lock;
    InitOneCustomer(c);
    if (!env_) return Fail(customer_environment_not_set, no_environment);
    if (!option_) return Fail(customer_system_option_not_set, no_system_option);
    CArray<DB_Element_Info, DB_Element_Info> info;
    if (Get_DBElementInfo(info, CString('1', element_count)) < 0)
        return Fail(customer_system_option_failed, no_element_info);
    ElementTypes types;
    for (int element = 0; element < element_count; ++element)
        types[static_cast<std::size_t>(element)] = info[element].Type;
    ElementValues values;
    if (!ReadRegistration(text ? text : "", types, strict == 1, values))
        return Fail(customer_registration_mail_format, registration_refused);
    for (int element = element_address; element <= element_last_attribute; ++element) {
        CString OneCustomer::*const member = DefinitionOf(element).member;
        CString const& value = values[static_cast<std::size_t>(element)];
        bool const has_tag = element <= element_direct_mail || IsAttribute(element);
        if (has_tag && (element != element_direct_mail || !value.IsEmpty())) c.*member = value;
    }
    return ok;
}
