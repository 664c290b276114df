#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "customers/customer_index.h"
#include "customers/database_lock.h"
#include "customers/distinct_texts.h"
#include "customers/table_cells.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/environment/system_option.h"
#include "tessaly/platform/mbcs.h"

using enum storage::ErrorCode;

using namespace customers;

namespace {

enum class Rows { live, deleted, all };

constexpr int no_limit = -1;  // of an ID range

// Calls `take`, which reads an element, with each such row in order, and ends when it gives false.
template <class Take>
void Walk(CMyDB const& table, Rows rows, int element, Take const& take) {
    int const count = table.GetLineNumber();
    for (int row = 0; row < count; ++row) {
        FetchAhead(table, row, count, element);
        if (rows != Rows::all) FetchAhead(table, row, count, element_delete_flag);
        if (rows != Rows::all && IsDeleted(table, row) != (rows == Rows::deleted)) continue;
        if (!take(row)) return;
    }
}

int CollectIDs(CMyDB const& table, Rows rows, CArray<int, int>& out) {
    out.RemoveAll();
    Walk(table, rows, element_id, [&](int row) { return out.Add(IDOf(table, row)) >= 0; });
    return out.GetSize();
}

template <class Take>
void WalkRange(CMyDB const& table, int from, int to, Take const& take) {
    bool const any = from == no_limit || to == no_limit;
    Walk(table, Rows::live, element_id, [&](int row) {
        int const id = IDOf(table, row);
        return (any || (id >= from && id <= to)) ? take(id) : true;
    });
}

// `part_of` gives the part of a cell that counts, up to its end.
template <class PartOf>
int Group(CMyDB const& table, int element, CStringList& out, int with_deleted, int limit,
          PartOf const& part_of) {
    out.RemoveAll();
    DistinctTexts known;
    Walk(table, with_deleted ? Rows::all : Rows::live, element, [&](int row) {
        std::string_view const cell = CellOf(table, row, element);
        std::string_view const part = part_of(cell);
        if (!known.Insert(part)) return true;
        out.AddTail(part.size() == cell.size() ? table.GetAtElement(row, element) : CString(part));
        return limit <= 0 || out.GetCount() < limit;
    });
    return out.GetCount();
}

}  // namespace

int CDatabaseEdit::GetDBForListSize(int from, int to) {
    DatabaseLock const lock;
    int count = 0;
    WalkRange(*this, from, to, [&](int) { return ++count > 0; });
    return count;
}

int CDatabaseEdit::GetDBForList(CArray<CDbCustomerID, CDbCustomerID>* out, int from, int to) {
    DatabaseLock const lock;
    int stored = 0;
    int const room = out ? out->GetSize() : 0;
    WalkRange(*this, from, to, [&](int id) {
        if (stored < room) out->SetAt(stored++, id);
        return stored < room;
    });
    return stored;
}

int CDatabaseEdit::GetDBIDWithoutDelete(CList<int, int>& out) {
    DatabaseLock const lock;
    out.RemoveAll();
    Walk(*this, Rows::live, element_id, [&](int row) { return out.AddTail(IDOf(*this, row)) != nullptr; });
    return out.GetCount();
}

int CDatabaseEdit::GetDBIDWithoutDelete(CArray<int, int>& out) {
    DatabaseLock const lock;
    return CollectIDs(*this, Rows::live, out);
}

int CDatabaseEdit::GetDeleteCustomerList(CArray<int, int>& out) {
    DatabaseLock const lock;
    return CollectIDs(*this, Rows::deleted, out);
}

int CDatabaseEdit::GetDBIDALL(CArray<int, int>& out) {
    DatabaseLock const lock;
    return CollectIDs(*this, Rows::all, out);
}

int CDatabaseEdit::GetDBCountWithoutDelete() {
    DatabaseLock const lock;
    int count = 0;
    Walk(*this, Rows::live, element_id, [&](int) { return ++count > 0; });
    return count;
}

int CDatabaseEdit::GetMaxDBIDOnlyExisting() {
    DatabaseLock const lock;
    int largest = 0;
    Walk(*this, Rows::live, element_id, [&](int row) {
        largest = std::max(largest, IDOf(*this, row));
        return true;
    });
    return largest;
}

int CDatabaseEdit::Get_DBElementInfo(CArray<DB_Element_Info, DB_Element_Info>& out, CString vector) {
    DatabaseLock const lock;
    if (!env_) return Fail(customer_environment_not_set, no_environment);
    if (!option_) return Fail(customer_system_option_not_set, no_system_option);
    if (vector.GetLength() != element_count) return Fail(customer_bit_vector_length, bad_vector_length);
    if (vector.View().find_first_not_of("01") != std::string_view::npos)
        return Fail(customer_bit_vector_bits, bad_vector_bits);
    out.RemoveAll();
    for (int element = 0; element < element_count; ++element) {
        if (vector.GetAt(element) != '1') continue;
        DB_Element_Info info{element, DefinitionOf(element).title, DefinitionOf(element).type};
        if (IsAttribute(element)) {
            int const attribute = element - element_first_attribute;
            CString type;
            if (option_->GetSODataFromMemoryPinPoint(SystemOption::cell_extra_names + attribute, info.Title) <
                    0 ||
                option_->GetSODataFromMemoryPinPoint(SystemOption::cell_extra_types + attribute, type) < 0)
                return Fail(customer_system_option_failed, no_element_info);
            info.Type = std::atoi(type);
        }
        out.Add(info);
    }
    return ok;
}

int CDatabaseEdit::GetDBElementGroupBy(int element, CStringList& out, int withDeleted, int limit) {
    DatabaseLock const lock;
    out.RemoveAll();
    if (!IsElement(element)) return Fail(customer_bad_element_number, bad_element);
    return Group(*this, element, out, withDeleted, limit, [](std::string_view cell) { return cell; });
}

int CDatabaseEdit::GetDBElementGroupByForMailAddress(CStringList& out, int withDeleted, int limit) {
    DatabaseLock const lock;
    return Group(*this, element_address, out, withDeleted, limit, [](std::string_view address) {
        std::size_t const at = platform::Find(address, '@');
        return at == std::string_view::npos ? address : address.substr(at);
    });
}

int CDatabaseEdit::GetDBID2Item(int element, CArray<t_SORT_ITEM, t_SORT_ITEM>& out) {
    DatabaseLock const lock;
    out.RemoveAll();
    Walk(*this, Rows::live, element_id, [&](int row) {
        return out.Add({IDOf(*this, row), GetAtElement(row, element)}) >= 0;
    });
    return out.GetSize();
}

void CDatabaseEdit::RestoreFromOtherDBE(CDatabaseEdit& other, CArray<int, int>& restored,
                                        CArray<int, int>& conflicts) {
    restored.RemoveAll();
    conflicts.RemoveAll();
    UseAddressIndex();
    CustomerIndex here;
    Walk(*this, Rows::all, element_id, [&](int row) { return here.Set(IDOf(*this, row), row), true; });
    CustomerIndex there;
    Walk(other, Rows::all, element_id, [&](int row) { return there.Set(IDOf(other, row), row), true; });

    TableAddresses const addresses(*this);
    Walk(other, Rows::all, element_address, [&](int row) {
        std::string_view const address = CellOf(other, row, element_address);
        if (address.empty()) return true;
        int const id = IDOf(other, row);
        int const known = addresses_->Last(addresses, address);
        if (known == AddressIndex::no_row) {
            if (here.RowOf(id) == CustomerIndex::no_row) restored.Add(id);
        } else if (IDOf(*this, known) != id) {
            conflicts.Add(id);
        }
        return true;
    });

    SetSizeDBArray(GetLineNumber() + restored.GetSize());
    for (int const id : restored) AppendRow(other.Row(there.RowOf(id)), Follow::addresses);
}
