#include "customers/customer_row.h"
#include "customers/database_lock.h"
#include "customers/table_cells.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/environment/sequencer.h"

using enum environment::SeqIDType;
using enum storage::ErrorCode;

using namespace customers;

namespace {

constexpr int id_attempts = 200;

}  // namespace

int CDatabaseEdit::GetOneCustomerForNew(OneCustomer& c, int reset) {
    DatabaseLock const lock;
    if (reset) InitOneCustomer(c);
    return ok;
}

void CDatabaseEdit::InitOneCustomer(OneCustomer& c) { SetDefaults(c); }

int CDatabaseEdit::GetOneCustomerForEdit(OneCustomer& c, int id) {
    DatabaseLock const lock;
    InitOneCustomer(c);
    int const row = DBID2RowNumber(id);
    if (row == no_match) return Fail(customer_no_such_id, no_such_customer);
    SetOneCustomer(c, row);
    return ok;
}

void CDatabaseEdit::SetOneCustomer(OneCustomer& c, int row) {
    c.CustomerID = IDOf(*this, row);
    SetFromRow(c, Row(row));
}

// All cells get the values of `c`.
void CDatabaseEdit::FillWorkRow(OneCustomer const& c) { FillRow(OneCustomerTemp, c); }

int CDatabaseEdit::SetOneCustomerInfo(OneCustomer& c, int write) {
    DatabaseLock const lock;
    if (!env_) return Fail(customer_environment_not_set, no_environment);
    bool const is_new = c.CustomerID == OneCustomer::no_id;
    int row = no_match;
    if (is_new) {
        int const id = GetNewDBID();
        if (id < 0) return no_new_id;
        c.CustomerID = id;
    } else {
        row = DBID2RowNumber(c.CustomerID);
        if (row == no_match) return Fail(customer_no_such_id, no_such_customer);
    }
    CString const now = PresentTime();
    FillWorkRow(c);
    OneCustomerTemp[element_zip_code_1] = WithoutHyphens(c.ZipCode1);
    if (is_new) OneCustomerTemp[element_entry_date] = now;
    OneCustomerTemp[element_renewal_date] = now;
    int const stored =
        is_new ? AppendRow(OneCustomerTemp, Follow::index_and_addresses) : ReplaceRow(row, OneCustomerTemp);
    if (stored != db_success) return Fail(customer_update_in_memory_failed, row_refused);
    if (write) static_cast<void>(WriteFromMemoryToFile());  // its failure stands in GetErrMsg()
    return ok;
}

int CDatabaseEdit::SetOneCustomerInfoForRepair(OneCustomer& c) {
    DatabaseLock const lock;
    if (!env_) return Fail(customer_environment_not_set, no_environment);
    FillWorkRow(c);
    if (GetLineNumber() <= 0) SetElementNumber(element_count);
    if (AppendRow(OneCustomerTemp, Follow::addresses) != db_success)
        return Fail(customer_update_in_memory_failed, row_refused);
    return ok;
}

int CDatabaseEdit::StoreDeleteFlag(int id, char const* flag) {
    OneCustomer customer;
    int const found = GetOneCustomerForEdit(customer, id);
    if (found != ok) return found;
    customer.DeleteFlag = flag;
    return SetOneCustomerInfo(customer, 0);
}

int CDatabaseEdit::DeleteCustomer(int id) {
    DatabaseLock const lock;
    return StoreDeleteFlag(id, yes_text);
}

int CDatabaseEdit::UnDeleteCustomer(int id) {
    DatabaseLock const lock;
    return StoreDeleteFlag(id, "");
}

int CDatabaseEdit::PhysicalDeletion(int id) {
    DatabaseLock const lock;
    OneCustomer customer;
    int const found = GetOneCustomerForEdit(customer, id);
    if (found != ok) return found;
    OneCustomer wiped;
    InitOneCustomer(wiped);
    wiped.CustomerID = customer.CustomerID;
    wiped.DeleteFlag = yes_text;
    wiped.DMOk = no_text;
    wiped.OtherOk = no_text;
    wiped.EntryDate = customer.EntryDate;
    wiped.RenewalDate = customer.RenewalDate;
    return SetOneCustomerInfo(wiped, 0);
}

int CDatabaseEdit::FindCustomerID(int id, int withDeleted) {
    DatabaseLock const lock;
    int const row = DBID2RowNumber(id);
    return row != no_match && (withDeleted || !IsDeleted(*this, row)) ? 1 : 0;
}

int CDatabaseEdit::GetCustomerDataPinPoint(int id, int element, CString& out) {
    DatabaseLock const lock;
    if (!IsElement(element)) return bad_element;
    int const row = KnownRow(id);
    if (row == no_match) return unknown_id;
    out = Row(row).GetAt(element);
    return ok;
}

CString CDatabaseEdit::GetCustomerDataPinPoint(int id, int element) {
    CString value;
    GetCustomerDataPinPoint(id, element, value);
    return value;
}

int CDatabaseEdit::GetOneCustomerDataPinPoint(CString& out, int element, int id) {
    DatabaseLock const lock;
    out.Empty();
    int const result = GetCustomerDataPinPoint(id, element, out);
    if (result == bad_element) return Fail(customer_bad_element_number, bad_element);
    return result == ok ? ok : Fail(customer_no_such_id, no_such_id);
}

int CDatabaseEdit::GetNewDBID() {
    DatabaseLock const lock;
    Sequencer sequence;
    if (sequence.SetEnvManager(env_) && sequence.SetSeqType(seq_customer)) {
        int id;
        for (int attempt = 0; attempt < id_attempts && sequence.NextValue(&id); ++attempt)
            if (DBID2RowNumber(id) == no_match) return id;
    }
    return Fail(customer_new_id_failed, no_new_id);
}

int CDatabaseEdit::HyphenCut(CString* src, CString* dst) {
    DatabaseLock const lock;
    if (src && dst) *dst = WithoutHyphens(*src);
    return ok;
}

void CDatabaseEdit::InitOneCustomerTemp() {
    DatabaseLock const lock;
    OneCustomerTemp.RemoveAll();
    OneCustomerTemp.SetSize(element_count);
}

int CDatabaseEdit::SetElementOneCustomerTemp(char const* text, int element) {
    return SetOneCustomerTemp(element, text);
}

int CDatabaseEdit::SetOneCustomerTemp(int element, char const* text) {
    DatabaseLock const lock;
    if (!IsElement(element)) return Fail(customer_bad_element_number, bad_element);
    OneCustomerTemp[element] = text;
    return ok;
}

CString CDatabaseEdit::GetOneCustomerTemp(int element) {
    DatabaseLock const lock;
    return OneCustomerTemp.GetAt(element);
}
