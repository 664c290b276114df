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

// What every import does alike: it finds the customer of a line by the mail address, prepares a new or a
// known one, draws IDs, and stores rows. A line goes StartLine, TakeAddress, the other fields into Row(),
// FindCustomer, Store; a line that is refused just isn't stored. The caller holds DATABASE_EDIT_MUTEX for the
// life of the object.
class ImportRun {
  public:
    explicit ImportRun(CDatabaseEdit& table);

    // Makes the index and moves the ID sequence past the table. ok; import_failed with 10009.
    int Prepare();
    // Makes the map of the addresses, after which the lines may begin. The present rows go first unless
    // `keep`.
    void Begin(bool keep);

    // Nothing is assigned yet.
    void StartLine() noexcept;
    ImportRow& Row() noexcept { return row_; }
    // Drops what was assigned so far. The line's customer gets the address in this form, is live (again) and
    // changed now. `address` must not be empty, and last to the end of the line.
    void TakeAddress(std::string_view address);
    // Looks the customer up by the address taken. A known one keeps his stored values wherever none is
    // assigned. A new one is registered now and accepts other mail unless something else is assigned.
    void FindCustomer();
    // What is stored of the known customer.
    std::string_view StoredValue(int element) const;
    bool IsKnown() const noexcept { return known_ != AddressIndex::no_row; }
    // Stores the customer: a known one in his row, a new one at the end under the next ID. CDatabaseEdit::ok;
    // import_failed with 10009 or 10602.
    int Store();
    // Puts the index right at the end.
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
