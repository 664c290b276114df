#include <algorithm>
#include <utility>

#include "customers/address_index.h"
#include "customers/customer_index.h"
#include "customers/database_lock.h"
#include "customers/table_cells.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/platform/mbcs.h"

using enum customers::Direction;
using enum storage::ErrorCode;
using enum storage::_MYDB_DATATYPE;

using namespace customers;

int CDatabaseEdit::DBID2RowNumber(int id) {
    DatabaseLock const lock;
    return KnownRow(id);
}

// An index that is out of date may name rows that do not exist.
int CDatabaseEdit::KnownRow(int id) const {
    int const row = index_->RowOf(id);
    return row < GetLineNumber() ? row : static_cast<int>(no_match);
}

void CDatabaseEdit::MakeIndex() {
    DatabaseLock const lock;
    int const rows = GetLineNumber();
    index_->Clear();
    index_->Reserve(rows > 0 ? static_cast<std::size_t>(rows) : 0);
    for (int row = 0; row < rows; ++row) {
        FetchAhead(*this, row, rows, element_id);
        EnterID(row);
    }
    index_revision_ = Revision();
}

void CDatabaseEdit::UseIndex() {
    if (index_revision_ != Revision()) MakeIndex();
}

void CDatabaseEdit::EnterID(int line) {
    int const id = IDOf(*this, line);
    index_->Set(id, line);
    if (id > max_id_) max_id_ = id;
}

void CDatabaseEdit::SortByCustomerID() {
    DatabaseLock const lock;
    Sort(element_id, mydb_number, 1);
}

// Here and below the result is that of CMyDB.
int CDatabaseEdit::AppendRow(XCStringArrayEx row, Follow follow) {
    std::uint64_t const before = Revision();
    int const result = AddLine(std::move(row));
    if (result != db_success) return result;
    if (follow == Follow::index_and_addresses) {
        if (index_revision_ == before) {
            EnterID(GetLineNumber() - 1);
            index_revision_ = Revision();
        } else {
            MakeIndex();
        }
    }
    if (HasAddressIndex(before, GetLineNumber() - 1)) {
        addresses_->Append(TableAddresses(*this));
        addresses_revision_ = Revision();
    }
    return db_success;
}

// The row keeps its customer.
int CDatabaseEdit::ReplaceRow(int line, XCStringArrayEx const& row) {
    std::uint64_t const before = Revision();
    CString const old_address = GetAtElement(line, element_address);
    int const result = SetAtLine(line, row);
    if (result != db_success) return result;
    if (index_revision_ == before)
        index_revision_ = Revision();
    else
        MakeIndex();
    if (HasAddressIndex(before, GetLineNumber())) {
        addresses_->Replace(TableAddresses(*this), line, old_address.View());
        addresses_revision_ = Revision();
    }
    return db_success;
}

// Whether the address index matched the table at that revision and number of rows.
bool CDatabaseEdit::HasAddressIndex(std::uint64_t revision, int rows) const noexcept {
    return addresses_revision_ == revision && addresses_->RowCount() == rows;
}

void CDatabaseEdit::UseAddressIndex() {
    if (HasAddressIndex(Revision(), GetLineNumber())) return;
    addresses_->Rebuild(TableAddresses(*this), std::max(GetLineNumber(), 0));
    addresses_revision_ = Revision();
}

int CDatabaseEdit::SearchCustomerOneElement(int element, CString text, int startID, Direction direction) {
    DatabaseLock const lock;
    if (!IsElement(element)) return Fail(customer_bad_element_number, bad_element);
    int start = no_match;
    if (startID != OneCustomer::no_id) {
        start = DBID2RowNumber(startID);
        if (start == no_match) return Fail(customer_no_such_id, no_such_id);
    }
    if (direction != direction_forward && direction != direction_backward)
        return Fail(customer_bad_search_direction, bad_direction);
    if (element >= GetElementNumber()) return Fail(customer_unexpected, search_failed);
    bool const by_index = element == element_address && !text.IsEmpty();
    int const row = by_index ? SearchAddress(text.View(), start, direction)
                             : SearchColumn(element, text, start, direction);
    return row == no_match ? no_match : IDOf(*this, row);
}

// Here and below the result is the row or no_match; `start` is the row behind or before which the search
// begins, or no_match.
int CDatabaseEdit::SearchAddress(std::string_view address, int start, Direction direction) {
    UseAddressIndex();
    TableAddresses const source(*this);
    if (start == no_match)
        return direction == direction_forward ? addresses_->First(source, address)
                                              : addresses_->Last(source, address);
    return direction == direction_forward ? addresses_->Next(source, address, start)
                                          : addresses_->Previous(source, address, start);
}

int CDatabaseEdit::SearchColumn(int element, CString const& text, int start, Direction direction) const {
    if (direction == direction_forward) {
        int const row = TotalAgreementReferenceSameUpLow(text, element, start + 1, 1);
        return row >= 0 ? row : static_cast<int>(no_match);
    }
    int row = start == no_match ? GetLineNumber() - 1 : start - 1;
    while (row >= 0 && !platform::EqualNoCase(CellOf(*this, row, element), text.View())) --row;
    return row;
}
