#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

#include "tessaly/customers/customer_elements.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/delivery/history_list_viewer.h"
#include "tessaly/environment/system_option.h"

using enum storage::ErrorCode;

namespace {

// The counts of a damaged file may be too large for an int.
int Clamped(std::int64_t count) {
    return static_cast<int>(
        std::clamp<std::int64_t>(count, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

}  // namespace

bool HistoryListViewer::ReadOption(int cell, CString& value) const {
    return option_->GetSODataFromMemoryPinPoint(cell, value) >= 0;
}

int HistoryListViewer::CheckRetryPartners() {
    if (!option_) return Fail(history_system_option_not_set, no_system_option);
    if (!database_) return Fail(history_database_not_set, no_database);
    return ok;
}

int HistoryListViewer::CheckRetrySendOK(int customerID, int evenIfComplete) {
    if (int const result = CheckRetryPartners(); result != ok) return result;
    int const row = KnownRow(customerID);
    if (row == no_row) return no_such_customer;
    CString deleted, allowed, limit;
    if (database_->GetCustomerDataPinPoint(customerID, customers::element_delete_flag, deleted) != 0 ||
        deleted == customers::yes_text)
        return Fail(history_retry_customer_deleted, customer_deleted);
    if (!ReadOption(SystemOption::cell_retry_unconditional, allowed))
        return Fail(history_system_option_internal, option_unreadable);
    if (allowed == customers::no_text) return Fail(history_retry_never, retry_never);
    if (!evenIfComplete && Cell(row, element_state) == state_complete)
        return Fail(history_retry_refused_by_state, retry_refused);
    if (!ReadOption(SystemOption::cell_retry_limit, limit))
        return Fail(history_system_option_internal, option_unreadable);
    int const number = NumberAt(row, element_retry_number);
    if (number >= std::atoi(limit)) return Fail(history_retry_count_exceeded, retry_count_exceeded);
    if (number == not_attempted) return Fail(history_retry_never, retry_never);
    return ok;
}

bool HistoryListViewer::IsDeletedCustomer(int row) const {
    CString deleted;
    return database_->GetCustomerDataPinPoint(NumberAt(row, element_customer_id),
                                              customers::element_delete_flag, deleted) == 0 &&
           deleted == customers::yes_text;
}

bool HistoryListViewer::IsLiveCustomer(int row) const {
    int const id = NumberAt(row, element_customer_id);
    CString address, deleted;
    return database_->GetCustomerDataPinPoint(id, customers::element_address, address) == 0 &&
           !address.IsEmpty() &&
           database_->GetCustomerDataPinPoint(id, customers::element_delete_flag, deleted) == 0 &&
           deleted != customers::yes_text;
}

int HistoryListViewer::GetRetryAddress(CArray<int, int>& ids) {
    ids.RemoveAll();
    if (int const result = CheckRetryPartners(); result != ok) return result;
    CString allowed, limit;
    ReadOption(SystemOption::cell_retry_unconditional, allowed);
    if (allowed == customers::no_text) return ok;
    ReadOption(SystemOption::cell_retry_limit, limit);
    int const retries = std::atoi(limit);
    for (int row = 0; row < GetRecordNumber(); ++row) {
        int const number = NumberAt(row, element_retry_number);
        if (Cell(row, element_state) != state_waiting || number >= retries || number == not_attempted)
            continue;
        if (!IsDeletedCustomer(row)) ids.Add(NumberAt(row, element_customer_id));
    }
    return ok;
}

int HistoryListViewer::GetErrorAddress(CArray<int, int>& ids) {
    ids.RemoveAll();
    if (int const result = CheckRetryPartners(); result != ok) return result;
    for (int row = 0; row < GetRecordNumber(); ++row)
        if (Cell(row, element_state) == state_error && !IsDeletedCustomer(row))
            ids.Add(NumberAt(row, element_customer_id));
    return ok;
}

void HistoryListViewer::UseMessageIndex() {
    if (message_index_made_) return;
    rows_by_message_id_.clear();
    rows_by_message_id_.reserve(static_cast<std::size_t>(GetRecordNumber()));
    for (int row = 0; row < GetRecordNumber(); ++row) AddToMessageIndex(row, Cell(row, element_message_id));
    message_index_made_ = true;
}

void HistoryListViewer::AddToMessageIndex(int row, CString const& id) {
    if (!id.IsEmpty()) rows_by_message_id_[id].insert(row);
}

void HistoryListViewer::MoveInMessageIndex(int row, CString const& old_id, CString const& new_id) {
    if (!message_index_made_ || old_id == new_id) return;
    if (auto const old_place = rows_by_message_id_.find(old_id); old_place != rows_by_message_id_.end()) {
        old_place->second.erase(row);
        if (old_place->second.empty()) rows_by_message_id_.erase(old_place);
    }
    AddToMessageIndex(row, new_id);
}

int HistoryListViewer::GetCustomerIDFromMessageID(CString id, CArray<int, int>& ids) {
    ids.RemoveAll();
    if (id.IsEmpty()) {
        for (int row = 0; row < GetRecordNumber(); ++row)
            if (Cell(row, element_message_id).IsEmpty()) ids.Add(NumberAt(row, element_customer_id));
        return ok;
    }
    UseMessageIndex();
    auto const found = rows_by_message_id_.find(id);
    if (found == rows_by_message_id_.end()) return ok;
    for (int const row : found->second) ids.Add(NumberAt(row, element_customer_id));
    return ok;
}

int HistoryListViewer::GetCustomerIDList(CList<int, int>& ids, int checkDatabase, int completeOnly) {
    if (!database_) return Fail(history_database_not_set, no_database);
    ids.RemoveAll();
    for (int row = 0; row < GetRecordNumber(); ++row) {
        if (checkDatabase && !IsLiveCustomer(row)) continue;
        if (completeOnly && Cell(row, element_state) != state_complete) continue;
        ids.AddTail(NumberAt(row, element_customer_id));
    }
    return ok;
}

void HistoryListViewer::GetCustomerIDListNotDBE(CList<int, int>& ids, int completeOnly) {
    ids.RemoveAll();
    for (int row = 0; row < GetRecordNumber(); ++row)
        if (!completeOnly || Cell(row, element_state) == state_complete)
            ids.AddTail(NumberAt(row, element_customer_id));
}

int HistoryListViewer::GetNumOneMail(int& sent, int& errors, int& opened, int& total) {
    sent = errors = opened = total = 0;
    if (mail_id_ == no_mail) return count_no_mail;
    std::int64_t all_sent = 0, all_errors = 0;
    for (int row = 0; row < GetRecordNumber(); ++row) {
        ++total;
        if (Cell(row, element_open_flag) == customers::yes_text) ++opened;
        CString const& state = Cell(row, element_state);
        std::int64_t const number = NumberAt(row, element_retry_number);
        bool const complete = state == state_complete;
        if (!complete && state != state_waiting && state != state_error) continue;
        all_sent += number + 1;
        all_errors += complete ? number : number + 1;
    }
    sent = Clamped(all_sent);
    errors = Clamped(all_errors);
    return counted;
}
