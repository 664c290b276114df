#include "tessaly/delivery/mail_size.h"

#include "tessaly/customers/database_edit.h"
#include "tessaly/delivery/mail_word_insert.h"
#include "tessaly/text/sjis_kana_converter.h"

namespace {

int SizeAfterWidening(CString const& text) {
    unsigned long size = 0;
    if (CSjisKanaConverter::GetSizeAfterConvertKana(text, size) != CSjisKanaConverter::converted)
        return text.GetLength();
    return static_cast<int>(size);
}

}  // namespace

CMailSize::~CMailSize() = default;

void CMailSize::SetTargetString(CString text, int html) {
    text_ = text;
    html_ = html;
}

int CMailSize::SetTargetCustomerByCustomerID(int id) {
    CArray<int, int> ids;
    ids.Add(id);
    return SetTargetCustomerByCustomerIDArray(ids);
}

int CMailSize::SetTargetCustomerByCustomerIDList(CList<int, int>& ids) {
    CArray<int, int> array;
    array.Reserve(ids.GetCount());
    for (POSITION place = ids.GetHeadPosition(); place;) array.Add(ids.GetNext(place));
    return SetTargetCustomerByCustomerIDArray(array);
}

int CMailSize::SetTargetCustomerByCustomerIDArray(CArray<int, int>& ids) {
    customers_.RemoveAll();
    if (!database_) return lookup_failed;
    OneCustomer customer;
    for (int const id : ids) {
        int const found = database_->GetOneCustomerForEdit(customer, id);
        if (found == CDatabaseEdit::ok) {
            customers_.Add(customer);
        } else if (found != CDatabaseEdit::no_such_customer) {
            customers_.RemoveAll();
            return lookup_failed;
        }
    }
    return customers_.IsEmpty() ? no_target : ok;
}

void CMailSize::SetTargetCustomerByOneCustomer(OneCustomer& customer) {
    customers_.RemoveAll();
    customers_.Add(customer);
}

void CMailSize::SetTargetCustomerByOneCustomerArray(CArray<OneCustomer, OneCustomer>& customers) {
    customers_ = customers;
}

int CMailSize::Analyze(int const& convertKana) {
    max_size_ = no_size;
    max_customer_id_ = no_customer;
    max_result_.Empty();
    if (customers_.IsEmpty()) return no_target;
    MailWordInsert merge(text_);
    for (OneCustomer const& customer : customers_) {
        CString const merged = merge.GetMailWordInsert(customer, html_);
        int const size = convertKana ? SizeAfterWidening(merged) : merged.GetLength();
        if (size <= max_size_) continue;
        max_size_ = size;
        max_customer_id_ = customer.CustomerID;
        max_result_ = merged;
    }
    return ok;
}

int CMailSize::GetMaxResultString(CString& text) const {
    if (max_size_ == no_size) return no_target;
    text = max_result_;
    return ok;
}

CString CMailSize::GetMaxResultString() const { return max_result_; }
