#pragma once

#include "tessaly/customers/one_customer.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/err_msg.h"
#include "tessaly/storage/my_db.h"
#include "tessaly/storage/string_array_ex.h"

class EnvManager;
class SystemOption;

// The test customers of one environment, made-up persons to whom test mailings go: the file
// DB\testmailinginfo.dat, with the columns of the customer row (customers/customer_elements.h). Each has a
// key that the application chooses, at most one row to a key; element 0 is the key in decimal. A key is
// searched from the first row on.
//
// Binding an environment reads the file, and makes an empty one where there is none. Nothing else reaches the
// disk before WriteFromMemoryToFile. Environment and options are not owned and must outlive the object.
//
// Failures leave their number and text in GetErrMsg() where one is named; a success leaves it as it was. No
// lock: one object serves one thread, and the file belongs to one process at a time.
class TESSALY_API CTestMailingInfo : public CMyDB {
  public:
    enum TestMailingResult : int {
        ok = 0,
        not_written_to = -1,    // WriteFromMemoryToFileAppointFileName; no number
        bad_element = -2,       // 10005
        not_created = -4,       // ReadFromFileToMemory: no file, and none can be made; no number
        row_refused = -10,      // 10010
        not_written = -11,      // 10204; also when the environment does not give its key
        no_environment = -101,  // ReadFromFileToMemory: no number
        bad_width = -102,       // ReadFromFileToMemory: not 56 columns; no number
    };

    // No rows, nothing bound.
    CTestMailingInfo();
    // Binds by SetEnvManager, and by SetSystemOption. A refusal leaves 10002 or 10004, is shown in a message
    // box and raises CUserException.
    explicit CTestMailingInfo(EnvManager* env);
    CTestMailingInfo(EnvManager* env, SystemOption* options);
    CTestMailingInfo(CTestMailingInfo const&) = default;
    CTestMailingInfo& operator=(CTestMailingInfo const&) = default;
    ~CTestMailingInfo() override = default;

    // Resets the object to its initial state, except for the error.
    void InitMember();
    // Binds and reads: 1; 0 for a null pointer, when one is set already, or when ReadFromFileToMemory fails;
    // none is set then. The options get the environment too once both are set.
    int SetEnvManager(EnvManager* env);
    // 1; 0 for a null pointer, or when one is set already.
    int SetSystemOption(SystemOption* options);
    EnvManager* GetEnvManager() { return env_; }
    CErrMsg& GetErrMsg() { return error_; }

    // Replaces the rows by those of the file, which is made, empty, if it is missing. A null `path` stands
    // for the environment's own file; any other becomes the path of the table. With `key` if `useKey` is not
    // 0 (null for the default tables), else with the environment's; in an environment of type 3 always with
    // the default tables, and without an environment with them unless `useKey` is not 0. Result: the number
    // of rows; no_environment (null `path` only; the rows stay); not_created, bad_width, a negative result of
    // CMyDB::ReadDBFile, db_bad_format also when the environment does not give its key.
    int ReadFromFileToMemory(char const* path, int useKey, char const* key);
    // Writes the rows to the table's file if they were changed since the last write, with the environment's
    // key; without an environment with the default tables. ok, not_written.
    [[nodiscard]] int WriteFromMemoryToFile();
    // Writes the rows to another file with `key` (null for the default tables). Changes that are unsaved in
    // the own file stay so. ok, not_written_to.
    [[nodiscard]] int WriteFromMemoryToFileAppointFileName(CString path, char const* key);

    // 1 with the test customer of the key `id` in `c`; a birthday is cut to 19 bytes, the three flags to one
    // byte. 0 if there is none, with the defaults in `c`.
    int GetTestMailingInfo(OneCustomer& c, int id);
    // Stores `c` under the key `id` (c.CustomerID is ignored), as a new row or in place of that of the key.
    // Hyphens of ZipCode1 and the delete flag are dropped. The registration time of a new row is the present,
    // else c.EntryDate; the update time is the present. ok, row_refused.
    int SetTestMailingInfo(OneCustomer& c, int id);
    // A test customer with nothing but the key, "Y" in DMOk and OtherOk, and the present time in both dates.
    void InitOneCustomer(OneCustomer& c, int id);

    // The work row, in which SetTestMailingInfo builds a row: 56 empty cells, and one cell of it; ok,
    // bad_element. A null text counts as empty.
    void InitOneCustomerTemp();
    int SetElementTestMailingInfoTemp(char const* value, int element);

  private:
    int Fail(int code, TestMailingResult result);
    int RowOf(int id) const;
    int ReadFile(int use_key, char const* key);
    int WriteHome();

    XCStringArrayEx work_row_;
    EnvManager* env_ = nullptr;
    SystemOption* options_ = nullptr;
    CErrMsg error_;
};
