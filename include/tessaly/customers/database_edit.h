#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string_view>

#include "tessaly/customers/customer_elements.h"
#include "tessaly/customers/field_rules.h"
#include "tessaly/customers/one_customer.h"
#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/dialog.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/hidden.h"
#include "tessaly/storage/err_msg.h"
#include "tessaly/storage/my_db.h"
#include "tessaly/storage/string_array_ex.h"

class EnvManager;
class ExtractAction;
class SystemOption;
namespace customers {
class AddressIndex;
class CustomerIndex;
class ImportRun;
}  // namespace customers

// One customer ID in a list.
struct CDbCustomerID {
    CDbCustomerID(int id = OneCustomer::no_id) : CustomerID(id) {}
    int CustomerID;
};

// One row of GetDBID2Item.
struct t_SORT_ITEM {
    int CustomerID = OneCustomer::no_id;
    CString Value;
};

namespace customers {

// The two ways of SearchCustomerOneElement.
enum Direction : int {
    direction_forward = 0,
    direction_backward = 1,
};

}  // namespace customers
using customers::Direction;

// Saving before loading replaces the file by the customers stored since.
//
// The customer table of one environment: the file DB\database.dat, held in memory as rows of 56 texts
// (customers/customer_elements.h). The application makes one, binds it to an environment, loads it with
// ReadCustomerList and edits it in memory; nothing reaches the disk before WriteFromMemoryToFile, or
// SetOneCustomerInfo with `write`. Environment and options are not owned and must outlive the object.
//
// A customer ID is given once and stays with its row for good. Deleting sets the row's delete flag;
// PhysicalDeletion wipes the contents of the row but keeps the row and its ID. So a row is live (flag empty),
// deleted (flag "Y", with all its data), or wiped (flag "Y", no address).
//
// Look-ups by ID use an index that MakeIndex makes. The operations on single customers and the imports keep
// it right without rebuilding it; where something else has changed rows since (an operation of CMyDB, or one
// of those here whose comment says that the caller calls MakeIndex), the next of them rebuilds it. Until then
// look-ups use the old index; an ID whose row is gone is unknown to them. Look-ups by mail address use an
// index of their own, which always matches the rows.
//
// Threads: every public operation takes the named mutex DATABASE_EDIT_MUTEX for its whole duration and waits
// for it without limit, also against other objects and other processes. Exceptions: SetStopImportFlag,
// RestoreFromOtherDBE, and what is inherited from CMyDB.
//
// Failures leave their number and text in GetErrMsg() where one is named; a success leaves it as it was.
class TESSALY_API CDatabaseEdit : public CMyDB {
  public:
    // Results of the operations, and the error number of each.
    enum CustomerResult : int {
        ok = 0,
        no_match = -1,           // SearchCustomerOneElement, DBID2RowNumber: none; no number
        unknown_id = -1,         // GetCustomerDataPinPoint: no such customer; no number
        sample_unreadable = -1,  // LoadSampleLine: the file could not be read to its end; no number
        not_bound = -2,          // ReadCustomerList: no environment; no number
        bad_element = -2,  // 10005: element number outside 0 to 55 (no number in GetCustomerDataPinPoint)
        bad_width = -3,    // ReadCustomerList: the table does not have 56 columns; no number
        no_such_customer = -3,       // 10006: GetOneCustomerForEdit, SetOneCustomerInfo
        key_missing = -4,            // reads: the environment does not give its key; no number
        no_such_id = -6,             // 10006: GetOneCustomerDataPinPoint, SearchCustomerOneElement
        bad_direction = -7,          // 10007
        no_new_id = -9,              // 10009
        row_refused = -10,           // 10010
        not_written = -11,           // 10204
        no_environment = -12,        // 10001
        no_system_option = -14,      // 10003
        bad_vector_length = -15,     // 10401
        bad_vector_bits = -16,       // 10402
        no_element_info = -17,       // 10403
        import_no_file = -41,        // 10601: the file cannot be opened
        import_failed = -42,         // 10009 or 10602
        registration_refused = -43,  // 10801
        // The imports from other programs, all with 10602; their further failures are no_environment,
        // no_system_option and import_failed (10009, or 10602).
        fwa_bad_argument = -50,
        fwa_not_converted = -51,
        fwa_not_opened = -52,  // the log, or the result of the converter
        fwa_bad_titles = -53,
        becky_bad_argument = -55,
        becky_no_log = -56,
        becky_not_opened = -66,
        corvane_bad_argument = -60,
        corvane_not_opened = -61,  // the log, or the file
        corvane_bad_titles = -62,
        belmora_bad_argument = -65,
        belmora_not_opened = -66,
        belmora_bad_titles = -67,
        outlook_bad_argument = -70,
        outlook_not_opened = -71,
        outlook_bad_titles = -72,
        import_stopped = -97,   // by ForeignImportOptions; no number
        import_declined = -98,  // by the user; no number
        search_failed = -99,    // 10999
    };

    // An empty table of 56 columns, not bound.
    CDatabaseEdit();
    // Binds by SetEnvManager, and by SetSystemOption. A refusal leaves 10002 or 10004, is shown in a message
    // box and raises CUserException.
    explicit CDatabaseEdit(EnvManager* env);
    CDatabaseEdit(EnvManager* env, SystemOption* option);
    CDatabaseEdit(CDatabaseEdit const& other);
    CDatabaseEdit& operator=(CDatabaseEdit const& other);
    ~CDatabaseEdit() override;

    // 1; 0 for a null pointer, or when one is set already. Once both are set the options get the environment
    // too.
    int SetEnvManager(EnvManager* env);
    int SetSystemOption(SystemOption* option);
    EnvManager* GetEnvManager();
    CErrMsg& GetErrMsg();
    // The largest ID that the index has ever held, -1 at the start; it never goes down.
    int GetMaxDBID();

    // --- The file (database_edit.cpp) ---

    // Drops the rows and loads the file, in a keyed environment with its database key. A file without a
    // record counts as an empty table. Result: the number of rows; not_bound, bad_width, key_missing (the
    // compound key does not decode), or the negative result of CMyDB::ReadDBFile. No error number. The index
    // is made in any case.
    int ReadCustomerList();
    // Replaces the rows by those of another file of this form, with `key` (null for none); needs no
    // environment. Result as ReadCustomerList; a failure to open or to recognise the file leaves the rows as
    // they are. The path stays; the rows count as changed, since they are not those of the own file. The
    // caller calls MakeIndex.
    int ReadFromFileToMemoryAppointFileName(CString path, char const* key);
    // Writes the rows to the own file if they have changed since the last read or write. ok, no_environment,
    // not_written. A keyed environment that does not give its key refuses, so that no file is made that its
    // own key does not open.
    [[nodiscard]] int WriteFromMemoryToFile();
    // Writes the rows to another file with `key` (null for none). Path and changed flag stay. ok,
    // not_written.
    [[nodiscard]] int WriteFromMemoryToFileAppointFileName(CString path, char const* key);

    // --- One customer (database_edit_rows.cpp) ---

    // The last arguments of GetOneCustomerForNew, SetOneCustomerInfo and FindCustomerID.
    enum NewMode : int { new_keep = 0, new_reset = 1 };
    enum StoreMode : int { store_in_memory = 0, store_to_file = 1 };
    enum FindMode : int { find_live = 0, find_all = 1 };

    // The defaults of a new customer in `c` if `reset` is non-zero. Always ok.
    int GetOneCustomerForNew(OneCustomer& c, int reset);
    // The customer's row in `c`; a birthday is cut to 19 bytes, the three flags to one byte. ok;
    // no_such_customer with the defaults in `c`.
    int GetOneCustomerForEdit(OneCustomer& c, int id);
    // Stores `c` without checks, except that ZipCode1 loses its hyphens: as a new row with an ID from the
    // environment's sequence, which goes into `c`, if its CustomerID is -1, else in place of its row. The
    // row's update time is the present; its registration time is the present for a new customer, else
    // c.EntryDate. With `write` non-zero the file is written; a failure of that leaves 10204, and the result
    // stays ok. ok, no_environment, no_new_id, no_such_customer, row_refused. The cost does not depend on the
    // size of the table.
    int SetOneCustomerInfo(OneCustomer& c, int write);
    // Appends a row with exactly the values of `c`, ID and dates included; for rebuilding a table from
    // salvaged data. Does not look for a double ID. ok, no_environment, row_refused. The caller calls
    // MakeIndex.
    int SetOneCustomerInfoForRepair(OneCustomer& c);
    // Set and clear the delete flag; wipe a row to ID, dates and flags. The update time becomes the present.
    // ok, or the failures of GetOneCustomerForEdit and SetOneCustomerInfo. None writes the file.
    int DeleteCustomer(int id);
    int UnDeleteCustomer(int id);
    int PhysicalDeletion(int id);
    // 1 if there is such a row that is not deleted, or, with `withDeleted` non-zero, any such row; else 0.
    int FindCustomerID(int id, int withDeleted);
    // One element of one customer. ok, bad_element, unknown_id, `out` being unchanged on failure; no error
    // number.
    int GetCustomerDataPinPoint(int id, int element, CString& out);
    // The same, empty on failure.
    CString GetCustomerDataPinPoint(int id, int element);
    // The same with error numbers; `out` is empty on failure. ok, bad_element, no_such_id.
    int GetOneCustomerDataPinPoint(CString& out, int element, int id);
    // A new customer ID: the first of at most 200 values of the environment's sequence that no row has.
    // no_new_id.
    int GetNewDBID();
    // Stores `src` without any "-" in `dst`, which may be `src`. Always ok.
    int HyphenCut(CString* src, CString* dst);

    // The work row: 56 texts in which SetOneCustomerInfo builds a row, open to the application. After an
    // import it is empty.
    void InitOneCustomerTemp();
    // ok, bad_element. A null text counts as empty.
    int SetElementOneCustomerTemp(char const* text, int element);
    int SetOneCustomerTemp(int element, char const* text);
    // Empty for an element out of range.
    CString GetOneCustomerTemp(int element);

    // --- The index (database_edit_index.cpp) ---

    // The row of a customer, or no_match.
    int DBID2RowNumber(int id);
    // Makes the index anew from element 0 of every row. Of two rows with one ID the last one counts.
    void MakeIndex();
    // Sorts the rows by ID, ascending. The caller calls MakeIndex.
    void SortByCustomerID();
    // The ID of the next customer, deleted or not, whose element equals `text` without regard to the case of
    // ASCII and full-width letters. Forward from the row behind the customer `startID` to the last, backward
    // from the row before him to the first; with -1 from the first row, or from the last. Constant time for
    // the mail address. no_match; in this order: bad_element, no_such_id, bad_direction, search_failed.
    int SearchCustomerOneElement(int element, CString text, int startID, Direction direction);

    // --- Lists and columns (database_edit_queries.cpp), all in row order ---

    // The customers that are not deleted and whose ID lies in `from` to `to`, both included; -1 in either
    // means all. Result: their number. GetDBForList stores their IDs from index 0 on, up to the size of
    // `out`; its result is the number stored.
    int GetDBForListSize(int from, int to);
    int GetDBForList(CArray<CDbCustomerID, CDbCustomerID>* out, int from, int to);
    // The IDs of customers who are not deleted, of those who are (wiped ones too), and of all. `out` is
    // emptied first. Result: their number.
    int GetDBIDWithoutDelete(CList<int, int>& out);
    int GetDBIDWithoutDelete(CArray<int, int>& out);
    int GetDeleteCustomerList(CArray<int, int>& out);
    int GetDBIDALL(CArray<int, int>& out);
    // The number of customers who are not deleted, and the largest ID among them, 0 if there is none.
    int GetDBCountWithoutDelete();
    int GetMaxDBIDOnlyExisting();

    // Number, title and type of the elements that `vector` selects: exactly 56 characters, "1" for each
    // selected element and "0" for each other. Titles and types of the attributes come from the options. ok;
    // in this order: no_environment, no_system_option, bad_vector_length, bad_vector_bits with `out` as it
    // was; no_element_info with the elements before the failure in `out`.
    int Get_DBElementInfo(CArray<DB_Element_Info, DB_Element_Info>& out, CString vector);
    // The distinct values of an element in the order of their first appearance, compared exactly, the empty
    // one included; deleted customers only with `withDeleted` non-zero; at most `limit`, all for 0 or less.
    // `out` is emptied first. Result: their number, or bad_element.
    int GetDBElementGroupBy(int element, CStringList& out, int withDeleted, int limit);
    // The same for the mail address from its "@" on; an address without one counts whole.
    int GetDBElementGroupByForMailAddress(CStringList& out, int withDeleted, int limit);
    // ID and value of every customer who is not deleted. An element out of range gives empty values. `out` is
    // emptied first. Result: their number.
    int GetDBID2Item(int element, CArray<t_SORT_ITEM, t_SORT_ITEM>& out);
    // Appends those customers of `other` (the table of a backup) whose address and ID are both unknown here,
    // as they stand. `restored` gets their IDs; `conflicts` the IDs of customers whose address is known here
    // under another ID. Both are emptied first. Rows without an address are passed over. `other` stays as it
    // is. Takes no mutex: nothing else may use the two tables meanwhile. The caller calls SortByCustomerID
    // and MakeIndex.
    void RestoreFromOtherDBE(CDatabaseEdit& other, CArray<int, int>& restored, CArray<int, int>& conflicts);

    // --- Import of delimited text (database_edit_import.cpp) ---

    // Imports customers from a text file. A line, divided by SplitString with `delimiter` and `quote` (0 for
    // none), becomes a new customer, or updates the one with its mail address; a deleted one becomes live
    // again. elements[i] is the column, from 0, that feeds element i; an element with a negative column, one
    // at or past the end of the line, or none at all is not set from the line. A column that is assigned and
    // empty clears its element. `add` 0 empties the table first; IDs go on all the same. `duplicate` "2"
    // keeps a known customer unchanged.
    //
    // `imported` counts the customers as they come in and may be read by another thread (null is allowed). A
    // refused line goes into `errorLines` by its number, from 1, and into `errorTexts` whole, at the same
    // index. The three are reset once all conditions of the run are met.
    //
    // A line ends with its LF, its text at its first NUL; one of over 256 MiB cannot be read. The rules of
    // the fields stand in customers/field_rules.h. Result: the number imported; in this order no_environment,
    // no_system_option, no_element_info, import_no_file, import_failed with 10009 (no new customer ID) or
    // 10602 (the table refused a row, or the file could not be read on). The rows imported up to a failure or
    // a stop stay in memory; the file is not written. Costs one look-up a line.
    enum ImportMode : int { import_replace = 0, import_add = 1 };
    int ImportDBfromFile(CString path, CString delimiter, char quote, CArray<int, int>& elements, int add,
                         int* imported, CArray<int, int>& errorLines, CArray<CString, CString>& errorTexts,
                         CString duplicate);
    // Every field for which the last ImportDBfromFile that read lines refused a line, by line, in a line the
    // address first and the others by element. Valid until the next import.
    CArray<customers::RefusedField> const& GetRefusedFields();
    // 1 stops a running import before its next line. Takes no lock. An import clears the flag when it is
    // called.
    void SetStopImportFlag(int stop) { stop_import_.Set(stop); }
    // The first `maxLines` lines of a file, all for -1, without their line ends; empty ones count but are not
    // stored. `lines` is emptied first. Result: the size of `lines`, import_no_file, sample_unreadable.
    int LoadSampleLine(CString path, CArray<CString, CString>& lines, int maxLines);
    // The LF bytes in the file up to its first byte 0xFF; import_no_file when it cannot be opened or read.
    int GetRecordNumFromImportFile(CString path);

    // --- Import from other programs (database_edit_foreign.cpp) ---

    // Imports customers from the files of other programs: address books of 筆まめ (through a program that
    // converts them), Becky! and OutLook (import/address_books), exports of the shop programs Corvane and
    // Belmora (import/shop_exports). A known customer is found by the mail address; a deleted one becomes
    // live again. Rows stay in memory; the file is not written.
    //
    // `logPath` is made anew, a text in code page 932 with LF line ends: the input, each refused line with
    // all its reasons, and how the run ended. A failure before it is open leaves none.
    //
    // `state` is 1 while the run prepares, which takes a second, and 0 while it works through the lines;
    // `message` gives the same in words; `imported` and `errors` count customers and refused lines as they
    // come. Another thread may read the three numbers meanwhile, but not the text. `state` and `message` may
    // be null.
    //
    // Result: the number imported, new and known together; or in this order no_environment, no_system_option,
    // ..._bad_argument, and the further failures of the program. A bad line is no failure.
    //
    // `dmMode`: direct mail for 1 all ("Y"), 2 none ("N"), 3 new customers ("Y"), any other new customers
    // ("N").
    int ImportDBfromFWAFile(CString fwaPath, CString converter, CString logPath, int* imported, int* errors,
                            int* state, CString* message, int dmMode);
    int ImportDBfromBeckyFile(CString path, CString logPath, int* imported, int* errors, int* state,
                              CString* message, int dmMode);
    int ImportDBfromOutLookFile(CString path, CString logPath, int* imported, int* errors, int* state,
                                CString* message, int dmMode);
    // `duplicate`: a known customer is "2" left alone, "0" left alone if changed here after the line's date,
    // any other replaced. A Corvane file without dates under "0" shows a question (`owner`: its window)
    // whether to replace all; import_declined for any answer but yes. Belmora with `rewriteAttributes` not 0
    // gives the attributes A to S the names and types of the file, and stores the settings in any case.
    int ImportDBfromCorvaneFile(CString path, CString logPath, int* imported, int* errors, int* state,
                                CString* message, CString duplicate, HWND owner);
    int ImportDBfromBelmoraFile(CString path, CString logPath, int* imported, int* errors, int* state,
                                CString* message, CString duplicate, int rewriteAttributes);

    // Options of these imports beside their arguments; none at the start.
    struct ForeignImportOptions {
        // Called before each line, and several times a second while a converter runs. true ends the run with
        // import_stopped; the rows imported so far stay in memory.
        std::function<bool()> stop;
        // Corvane and 筆まめ: a last line without LF is imported too. These and OutLook: a text that cannot
        // be read because a quote stays open, or the file fails, is a refused line.
        bool whole_file = false;
    };
    void SetForeignImportOptions(ForeignImportOptions options);

    // --- Registration by mail (database_edit_registration.cpp) ---

    // A new customer from the text of a mail with tagged values (customers/registration_mail.h), to be stored
    // by SetOneCustomerInfo; nothing is stored here. With `strict` 1 any bad field refuses the mail, else
    // only a missing or bad address. ok, no_environment, no_system_option, no_element_info,
    // registration_refused; after a failure `c` holds the defaults of a new customer.
    int ConvertEMailToOneCunstomer(char const* text, OneCustomer& c, int strict);

  private:
    friend class customers::ImportRun;
    friend class ::ExtractAction;  // looks up very many customers while it holds the mutex
    // A flag that another thread may set; a copy takes the value.
    class SharedFlag {
      public:
        SharedFlag() = default;
        SharedFlag(SharedFlag const& other) noexcept : value_(other.Get()) {}
        SharedFlag& operator=(SharedFlag const& other) noexcept {
            Set(other.Get());
            return *this;
        }
        void Set(int value) noexcept { value_.store(value, std::memory_order_relaxed); }
        int Get() const noexcept { return value_.load(std::memory_order_relaxed); }

      private:
        std::atomic<int> value_{0};
    };
    // The indexes that are updated with a new row.
    enum class Follow { index_and_addresses, addresses };

    void InitMember();
    void InitOneCustomer(OneCustomer& c);
    void SetOneCustomer(OneCustomer& c, int row);
    int Fail(int code, CustomerResult result);
    int ReadWithEnvironmentKey();
    int WriteWithEnvironmentKey();
    void FillWorkRow(OneCustomer const& c);
    int StoreDeleteFlag(int id, char const* flag);

    int AppendRow(XCStringArrayEx row, Follow follow);
    int ReplaceRow(int line, XCStringArrayEx const& row);
    int KnownRow(int id) const;
    // As MakeIndex, unless the index is up to date.
    void UseIndex();
    void EnterID(int line);
    bool HasAddressIndex(std::uint64_t revision, int rows) const noexcept;
    void UseAddressIndex();
    int SearchAddress(std::string_view address, int start, Direction direction);
    int SearchColumn(int element, CString const& text, int start, Direction direction) const;

    XCStringArrayEx OneCustomerTemp;
    EnvManager* env_ = nullptr;
    SystemOption* option_ = nullptr;
    CErrMsg error_;
    platform::Hidden<customers::CustomerIndex> index_;
    int max_id_ = OneCustomer::no_id;
    SharedFlag stop_import_;
    ForeignImportOptions foreign_options_;
    CArray<customers::RefusedField> refused_fields_;
    platform::Hidden<customers::AddressIndex> addresses_;
    // The table's revision that each index describes.
    std::uint64_t index_revision_ = 0;
    std::uint64_t addresses_revision_ = 0;
};
