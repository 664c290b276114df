#pragma once

#include <cstdint>
#include <string_view>

#include "customers/address_index.h"
#include "import/customer_id_source.h"
#include "import/import_row.h"
#include "platform/cstring_pool.h"
#include "tessaly/customers/database_edit.h"
#include "tessaly/text/date_data.h"

namespace customers {

// The common part of all imports: it finds the customer of a line by the mail address, prepares a new or a
// known one, draws IDs, and stores rows. The order for a line is StartLine, TakeAddress, the other fields
// into Row(), FindCustomer, Store; a refused line is not stored. The caller holds DATABASE_EDIT_MUTEX for the
// life of the object.
class ImportRun {
  public:
    explicit ImportRun(CDatabaseEdit& table);

    // Makes the index and moves the ID sequence past the table. ok; import_failed with 10009.
    int Prepare();
    // Makes the index of the addresses, after which the lines may begin. The present rows are removed first
    // unless `keep`.
    void Begin(bool keep);

    // Clears the assignments.
    void StartLine() noexcept;
    ImportRow& Row() noexcept { return row_; }
    // Drops the assignments so far. The customer of the line gets the address in this form, is live (again)
    // and changed now. `address` must not be empty, and must be valid to the end of the line.
    void TakeAddress(std::string_view address);
    // Looks the customer up by the address. A known one keeps the stored values wherever none is assigned. A
    // new one is registered now and accepts other mail unless something else is assigned.
    void FindCustomer();
    // The stored value of an element of the known customer.
    std::string_view StoredValue(int element) const;
    bool IsKnown() const noexcept { return known_ != AddressIndex::no_row; }
    // Stores the customer: a known one in the present row, a new one at the end with the next ID.
    // CDatabaseEdit::ok; import_failed with 10009 or 10602.
    int Store();
    // Brings the index up to date at the end.
    void End();

  private:
    std::string_view PresentTime();
    int StoreNew();
    int StoreKnown();

    CDatabaseEdit& table_;
    CustomerIDSource ids_;
    CStringPool pool_;
    ImportRow row_;
    int known_ = AddressIndex::no_row;  // row of the line's customer
    std::int64_t present_second_ = -1;
    char present_text_[text::date_data_size] = {};
};

}  // namespace customers
