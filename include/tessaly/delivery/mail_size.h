#pragma once

#include "tessaly/customers/one_customer.h"
#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"

class CDatabaseEdit;

// The length of a text merged with the data of given customers, and the customer with the longest.
//
// The order of use is: SetTargetString, one of the setters of customers, Analyze, the getters. The database
// is not owned and must outlive the object; without one, a look-up by ID fails. One object belongs to one
// thread.
class TESSALY_API CMailSize {
  public:
    enum Result : int {
        ok = 0,
        no_target = -1,      // no customer; also no such ID
        lookup_failed = -2,  // a failure other than an unknown ID
    };
    static constexpr int no_size = -1;  // before an analysis, and after one without a target
    static constexpr int no_customer = -1;

    explicit CMailSize(CDatabaseEdit* database) : database_(database) {}
    CMailSize(CMailSize const&) = default;
    CMailSize& operator=(CMailSize const&) = default;
    virtual ~CMailSize();

    // The text with merge words; `html` not 0: it is HTML source.
    void SetTargetString(CString text, int html);

    // Each replaces the customers of the analysis. Those by ID: ok; no_target if none of them exists, unknown
    // IDs being skipped; lookup_failed, and then there is none.
    int SetTargetCustomerByCustomerID(int id);
    int SetTargetCustomerByCustomerIDArray(CArray<int, int>& ids);
    int SetTargetCustomerByCustomerIDList(CList<int, int>& ids);
    // These copy their arguments.
    void SetTargetCustomerByOneCustomer(OneCustomer& customer);
    void SetTargetCustomerByOneCustomerArray(CArray<OneCustomer, OneCustomer>& customers);

    // Merges the text for every customer. The size of a text is its length in bytes; with `convertKana` not 0
    // that after half-width kana are widened; a text that ends inside a character cannot be widened and
    // counts unchanged. Of equal sizes the first counts. ok, no_target.
    int Analyze(int const& convertKana);

    // The result of the last analysis: the largest size in bytes, no_size if there is none; its customer; the
    // merged text (ok, or no_target with `text` as it was; the other form empty).
    int GetMaxSize() const { return max_size_; }
    int GetMaxCustomerID() const { return max_size_ == no_size ? no_customer : max_customer_id_; }
    int GetMaxResultString(CString& text) const;
    CString GetMaxResultString() const;

  private:
    CDatabaseEdit* database_;
    int html_ = 0;
    CString text_;
    CArray<OneCustomer, OneCustomer> customers_;
    int max_size_ = no_size;
    int max_customer_id_ = no_customer;
    CString max_result_;
};
