#pragma once

#include <set>
#include <unordered_map>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/storage/base_record_structer.h"
#include "tessaly/storage/err_msg.h"
#include "tessaly/storage/string_array_ex.h"

class CDatabaseEdit;
class CMailListViewer;
class EnvManager;
class SystemOption;

// One row of a send history: the state of a mail for one customer.
struct HistorySet {
    int CustomerID = -1;
    CString State;        // "W" waiting, "C" complete, "E" given up
    int RetryNumber = 0;  // -1 before the first attempt
    CString OpenFlag;     // "Y" when the customer opened the mail
    CString MessageID;    // with which the mail was sent, without angle brackets
    COleDateTime LastSendDate;
};

// Saving before loading replaces the file of the mail by the rows set since; without rows it fails with
// not_written.
//
// The send history of one mail: a row for each recipient, sent to or not, in the file MAIL\<id>\hist<id>.dat
// of the environment. The object holds one such table in memory and applies the rules of retrying. It is
// bound to one environment for life and selects a mail by SetMailID; the rows are edited in memory and saved
// by the application, which also decides about states and retry numbers. The environment and the other
// objects are not owned.
//
// Passing the environment on to an object that holds one already is no failure: an application shares one set
// of options, one customer table and one list of mails among all.
//
// Look-ups by customer ID and by Message-ID take the same time however long the history is. Of two rows with
// one customer ID the later one is found. A row is found by the customer ID with which it was loaded or
// appended, and by its present Message-ID; the look-ups ignore changes by the inherited table.
//
// Threads: a load, and a save to the mail's own file, take the named mutex HISTORY_LIST_VIEWER_MUTEX, one for
// all histories and processes. Nothing else is locked: one object belongs to one thread at a time. The last
// save wins.
//
// Failures leave their number and text in GetErrMsg(); a success leaves it as it was.
class TESSALY_API HistoryListViewer : public BaseRecordStructer {
  public:
    // The elements of a row, in their order on disk.
    enum Element : int {
        element_customer_id = 0,
        element_state = 1,
        element_retry_number = 2,
        element_open_flag = 3,
        element_message_id = 4,
        element_last_send_date = 5,
        element_count = 6,
    };
    enum Result : int {
        ok = 0,
        no_environment = -1,         // 5001
        no_system_option = -2,       // 5002
        no_database = -3,            // 5003
        no_such_customer = -4,       // 5004: not in this history
        bad_element = -6,            // 5006
        customer_known = -7,         // 5007
        no_mail_list = -11,          // 5011
        no_mail_id = -13,            // 5013
        bad_mail_id = -14,           // 5014
        option_unreadable = -15,     // 5015
        file_missing = -21,          // 5201
        file_empty = -22,            // 5202
        file_format = -23,           // 5203
        not_written = -24,           // 5204
        retry_count_exceeded = -41,  // 5401
        customer_deleted = -42,      // 5402
        retry_never = -43,           // 5403
        retry_refused = -44,         // 5404: complete already
        unexpected = -99,            // 5999
    };
    // The state of a recipient: still to get the mail, sent, given up.
    static constexpr char const* state_waiting = "W";
    static constexpr char const* state_complete = "C";
    static constexpr char const* state_error = "E";
    static constexpr int no_mail = -1;
    static constexpr int not_attempted = -1;  // retry number before the first attempt
    static constexpr int no_row = -1;
    static constexpr int all_rows = -1;  // either argument of GetHDataFromMemoryToStruct

    HistoryListViewer() = default;
    // Binds in the order of the arguments. A refusal sets 5008, 5009, 5010 or 5012, is shown in a message box
    // and raises CUserException; so does a failing SetMailID(mailID, 0), with its own error.
    explicit HistoryListViewer(EnvManager* env);
    HistoryListViewer(EnvManager* env, SystemOption* option, CDatabaseEdit* database, CMailListViewer* mails);
    HistoryListViewer(EnvManager* env, SystemOption* option, CDatabaseEdit* database, CMailListViewer* mails,
                      int mailID);

    // Each once only: 1; 0 for a null pointer, or when one is set already. The environment is passed on to
    // the others as soon as both are set.
    int SetEnvManager(EnvManager* env);
    int SetSystemOption(SystemOption* option);
    int SetDatabaseEdit(CDatabaseEdit* database);
    int SetMailListViewer(CMailListViewer* mails);
    enum MailCheck : int { check_mail = 0, any_mail = 1 };
    // Selects a mail and drops the rows. With `unchecked` 0 the mail must be in the list. ok, no_environment,
    // no_mail_list, bad_mail_id.
    int SetMailID(int mailID, int unchecked);
    int GetMailID() const { return mail_id_; }
    CErrMsg& GetErrMsg() { return error_; }
    // The row of a customer, or no_row.
    int DBID2RowNumber(int customerID) const;

    // Loads the file of the mail, in a keyed environment with `key` if `useKey` is not 0 (null for the
    // default tables), else with the database key. After file_missing and file_empty, the normal start of a
    // new history, the table is empty and takes rows. ok, no_environment, no_mail_id, file_format (also when
    // the environment does not give its database key), unexpected.
    int GetHDataFromFileToMemory(int useKey, char const* key);
    // Saves if rows were changed since the last load or save. ok, no_environment, no_mail_id, not_written.
    [[nodiscard]] int WriteHDataFromMemoryToFile();
    // The same, changed or not.
    [[nodiscard]] int WriteHDataFromMemoryToFileCompel();
    // Saves to another file with `key` (null for none); needs no mail and takes no lock, and changes that are
    // unsaved in the own file stay unsaved. ok, not_written.
    [[nodiscard]] int WriteFromMemoryToFileAppointFileName(CString path, char const* key);

    // The rows `first` to `last`, both included, as far as they exist; all rows if either is negative. `rows`
    // is emptied first. Result: their number.
    int GetHDataFromMemoryToStruct(CArray<HistorySet, HistorySet>& rows, int first, int last);
    // Appends a row. ok, customer_known, unexpected.
    int SetHDataFromStructToMemory(HistorySet& row);
    // One element of a customer's row, `element` 0 to 5. Reading gives an empty text on failure. ok,
    // no_such_customer, bad_element, unexpected.
    CString GetElementFromMemoryPinPoint(int customerID, int element);
    int SetElementToMemoryPinPoint(int customerID, int element, CString value);
    enum TransferMode : int { transfer_read = 0, transfer_store = 1 };
    // Reads an element into the reference if `set` is 0, else stores the reference. ok, no_such_customer,
    // unexpected.
    int TransferState(int customerID, CString& state, int set);
    int TransferRetryNum(int customerID, int& number, int set);
    int TransferOpenFlag(int customerID, CString& flag, int set);
    int TransferMessageID(int customerID, CString& id, int set);
    int TransferLastSendDate(int customerID, COleDateTime& date, int set);
    // Raises the retry number by 1, up to the greatest int. ok, no_such_customer, unexpected.
    int RetryNumInc(int customerID);

    enum RetryCheck : int { not_if_complete = 0, even_if_complete = 1 };
    // Whether the mail may be sent to this customer again. ok for yes; in this order: no_system_option,
    // no_database, no_such_customer, customer_deleted (or not in the customer table), option_unreadable,
    // retry_never (the settings forbid it), retry_refused (complete, unless `evenIfComplete` is not 0),
    // option_unreadable, retry_count_exceeded, retry_never (never sent to, so this is no retry).
    int CheckRetrySendOK(int customerID, int evenIfComplete);
    // The customers who wait for another attempt that is allowed; those who were given up. Deleted customers
    // are left out; table order. ok, no_system_option, no_database.
    int GetRetryAddress(CArray<int, int>& ids);
    int GetErrorAddress(CArray<int, int>& ids);
    // The customers whose mail was sent with the Message-ID `id`, compared byte by byte; table order, none
    // for an unknown ID. Always ok.
    int GetCustomerIDFromMessageID(CString id, CArray<int, int>& ids);
    // The customers of the history in table order. With `checkDatabase` not 0 only those who are in the
    // customer table with an address and not deleted, with `completeOnly` not 0 only complete rows. ok,
    // no_database.
    int GetCustomerIDList(CList<int, int>& ids, int checkDatabase, int completeOnly);
    void GetCustomerIDListNotDBE(CList<int, int>& ids, int completeOnly);
    enum CountResult : int { count_no_mail = 0, counted = 1 };
    // Attempts, failed attempts, rows opened, and rows. All 0 with the result count_no_mail while no mail is
    // selected.
    int GetNumOneMail(int& sent, int& errors, int& opened, int& total);

  private:
    void InitHLVTmp();
    void SetHLVTmp(int row);

    int Fail(int code, Result result);
    int CheckFile();
    CString FilePath() const;
    int Save();
    CString const& Cell(int row, int element) const;
    int NumberAt(int row, int element) const;
    void MakeIndex();
    int KnownRow(int customerID);
    int StoreCell(int row, int element, CString const& value);
    int Transfer(int customerID, int element, CString& value, int set);
    int CheckRetryPartners();
    bool ReadOption(int cell, CString& value) const;
    bool IsDeletedCustomer(int row) const;
    bool IsLiveCustomer(int row) const;

    // Makes the index of the rows by Message-ID, in table order, at the first use. It leaves out rows without
    // one, since there may be very many.
    void UseMessageIndex();
    void AddToMessageIndex(int row, CString const& id);
    void MoveInMessageIndex(int row, CString const& old_id, CString const& new_id);

    EnvManager* env_ = nullptr;
    SystemOption* option_ = nullptr;
    CDatabaseEdit* database_ = nullptr;
    CMailListViewer* mails_ = nullptr;
    CErrMsg error_;
    int mail_id_ = no_mail;
    int modified_ = 0;
    XCStringArrayEx work_row_;
    std::unordered_map<int, int> rows_by_customer_;
    std::unordered_map<CString, std::set<int>> rows_by_message_id_;
    bool message_index_made_ = false;
};
