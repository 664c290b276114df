#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/hidden.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/storage/base_record_structer.h"
#include "tessaly/storage/err_msg.h"

class CDatabaseEdit;
class CMailListViewer;
class EnvManager;
class ExtractListViewer;

namespace extract {

// The owner of the send list.
enum ERTYPE : int {
    er_not_set = -2,
    er_mail = 0,  // MAIL\<id>\meli<id>.dat
    er_list = 1,  // EXTRACT\exsl<id>.dat, the list of a destination list
};

}  // namespace extract
using extract::ERTYPE;

// One entry of the view of a send list.
struct ERDetailPlusDB {
    int CustomerID = -1;
    CString KanjiSei;
    CString KanjiMei;
    CString Company;
    CString Email;
    COleDateTime RenewalDate;
};

// Saving before loading replaces the file by the customers added since.
//
// The send list: the IDs of the recipients of a mail, or of the customers of a destination list. A table of
// one element, the ID in decimal, in the environment's key. The order of use is: bind, SetTypeAndID,
// GetDBIDListFromFileToMemory, add and remove, one of the writers; the destructor saves nothing.
//
// An ID is not added when it is in the list, whether it was added or loaded. A file that holds an ID twice
// keeps both rows. A list that never had a row nor a file has no element number, and cannot be written.
//
// Environment, mail list, list viewer and database are not owned and must outlive the object. Failures leave
// their number and text in GetErrMsg(); a success leaves it as it was. No lock of its own: calls on one
// object do not overlap. Operations over several customers hold the lock of CDatabaseEdit throughout.
class TESSALY_API ExtractResultDetail : public BaseRecordStructer {
  public:
    static constexpr int id_not_set = -2;
    static constexpr int id_new_list = -1;  // with er_list: a list that is not yet saved
    enum Result : int {
        ok = 0,
        new_mail_list = -1,      // 3001: er_mail with ID -1
        no_such_mail = -2,       // 3002
        no_such_list = -3,       // 3003
        not_bound = -4,          // 3004: an object that the operation needs is not set
        target_not_set = -5,     // 3005: type or ID not set, or no target that has a file
        unknown_type = -6,       // 3006
        not_a_new_list = -8,     // 3008: WriteAllOnMemoryDBIDToFileNew
        unknown_customer = -13,  // 3103
        not_in_list = -14,       // 3104
        file_missing = -31,      // 3201
        file_empty = -32,        // 3202
        file_format = -33,       // 3203; also when the environment does not give its key
        file_unexpected = -34,   // 3204
        file_not_written = -35,  // 3205; also when the environment does not give its key
        row_refused = -99,       // 3099
    };
    // Failures of ExtractDBID2RowNumber beside those of a search; no number.
    enum RowResult : int { row_no_rows = -3, row_unknown_type = -4 };

    ExtractResultDetail();
    ExtractResultDetail(ExtractResultDetail const& other);
    ExtractResultDetail& operator=(ExtractResultDetail const& other);
    ~ExtractResultDetail() override;

    // Binds by the setters in the order of the arguments. A refusal leaves 3007, is shown in a message box
    // and raises CUserException.
    ExtractResultDetail(EnvManager* env, CMailListViewer* mails, ExtractListViewer* lists,
                        CDatabaseEdit* database);
    // The same and SetTypeAndID, whose failure is shown and raised in the same way with its own number.
    ExtractResultDetail(EnvManager* env, CMailListViewer* mails, ExtractListViewer* lists,
                        CDatabaseEdit* database, ERTYPE type, int id);

    // 1; 0 for a null pointer, or when one is set already. The environment is passed on to the mail list, the
    // list viewer (which reads its lists) and the database, as far as they are set; one that has an
    // environment keeps it.
    int SetEnvManager(EnvManager* env);
    // The same; each gets the environment if that is set.
    int SetMailListViewer(CMailListViewer* mails);
    int SetDatabaseEdit(CDatabaseEdit* database);
    // 1, also for a null pointer; 0 when one is set already. The viewer is not given the environment here.
    int SetExtractListViewer(ExtractListViewer* lists);
    CDatabaseEdit* GetDatabaseEdit() { return database_; }
    CErrMsg& GetErrMsg() { return error_; }

    // Sets the owner of the list; the rows stay. A mail must be in the mail list; a destination list in the
    // list viewer, or `id` is -1. ok; not_bound (environment, or an object that the type needs),
    // new_mail_list, no_such_mail, no_such_list, unknown_type, and nothing is changed.
    int SetTypeAndID(ERTYPE type, int id);

    // The row of a customer, a RowResult or a SearchResult. Looks at the rows one by one.
    int ExtractDBID2RowNumber(int id);

    // Drops the rows and loads the file of the target, with `key` if `useKey` is not 0 (null for the default
    // tables), else with the environment's; in an environment of type 3 always with the default tables. ok;
    // not_bound, and the rows stay; target_not_set, no_such_mail, no_such_list unless there is such a mail or
    // list; file_missing, file_empty, file_format, file_unexpected. The records before a bad one stay.
    int GetDBIDListFromFileToMemory(int useKey, char const* key);

    // The customers of the rows `from` to `to`, both included, in row order; all rows when either is -1. A
    // customer without an address is a wiped one: the row leaves the list, and the rows behind it move up. If
    // there was one, the list is then saved by WriteAllOnMemoryDBIDToFile; a failure of that leaves its
    // number and does not change the result, and the list still counts as changed. Result: the size of `out`;
    // not_bound, target_not_set with `out` as it was; unknown_customer with the customers before it in `out`.
    // Linear, however many rows leave.
    int GetIDPlusDBDataFromDBFile(CArray<ERDetailPlusDB, ERDetailPlusDB>& out, int from, int to);

    // Appends a customer, except one who refuses direct mail or is in the list. Result: the number of rows;
    // not_bound, target_not_set, unknown_customer, row_refused. Constant time.
    int AddDBID(int id);
    // Removes the first row of a customer. Result: the number of rows; not_bound, target_not_set,
    // not_in_list, row_refused.
    int RemoveDBID(int id);
    // ok, not_bound, target_not_set.
    int ALLRemoveDBID();

    // The IDs in row order; with `check` 1 each must be in the database. ok; not_bound, unknown_type with
    // `out` as it was; unknown_customer with `out` empty.
    int GetDBIDToCListInt(CList<int, int>& out, int check);
    // Adds each ID as AddDBID does, and then sorts the list if `sort` is not 0. With `check` 1 all are looked
    // up before the first is added. ok, not_bound, unknown_customer, or the first failure of AddDBID; the IDs
    // before it are then in the list, which is not sorted.
    int SetDBIDFromCListInt(CList<int, int>& ids, int check, int sort);
    // The customers who are not deleted, in the order of the database: the start of a selection. Result:
    // their number, or not_bound.
    int GetAllDBIDWithoutDeleteFromDBToCListInt(CList<int, int>& out);
    // Sorts by ID, ascending; rows of one ID keep their order. An ID in another form than "%d" is rewritten
    // in that form. The list counts as changed if its order or a row changed.
    void SortByDBID();

    // The first three have the environment's key, and a success clears the changed flag. Each gives ok or
    // file_not_written, after its own checks. After a failure the list still counts as changed.
    //
    // To the file of the target, if the list was changed since the last read or write: not_bound,
    // target_not_set (type or ID negative), no_such_mail, no_such_list.
    [[nodiscard]] int WriteAllOnMemoryDBIDToFile();
    // The same, changed or not.
    [[nodiscard]] int WriteAllOnMemoryDBIDToFileCompel();
    // To the file of the destination list `newID`; the target stays as it is: not_bound (environment or list
    // viewer), not_a_new_list unless the target is er_list with ID -1. Without a change since the last write
    // the file is not written.
    [[nodiscard]] int WriteAllOnMemoryDBIDToFileNew(int newID);
    // To any file, with `key` (null for the default tables). Changes that are unsaved in the own file stay
    // so.
    [[nodiscard]] int WriteFromMemoryToFileAppointFileName(CString path, char const* key);

  private:
    struct Customer {
        int id;
        int line;  // in the database
    };
    class IDSet;

    int Fail(int code, Result result);
    bool IsBound() const { return env_ && database_; }
    bool HasTarget() const { return type_ != extract::er_not_set && id_ != id_not_set; }
    bool IsMailListed(int id) const;
    bool IsListListed(int id) const;
    int CheckTarget();
    CString FilePath(int id) const;
    int Save(int id, int compel);
    int IDAt(int row) const;
    void EnterIDs();
    int Add(Customer customer);
    std::vector<Customer> LookUp(CList<int, int> const& ids) const;
    void ReserveFor(std::size_t more);
    void WriteInDecimal(int id, int row);
    bool Collect(CArray<ERDetailPlusDB, ERDetailPlusDB>& out, int first, std::int64_t count,
                 CArray<int, int>& wiped) const;
    void RemoveRows(CArray<int, int> const& rows);

    EnvManager* env_ = nullptr;
    CDatabaseEdit* database_ = nullptr;
    CErrMsg error_;
    CMailListViewer* mails_ = nullptr;
    ExtractListViewer* lists_ = nullptr;
    ERTYPE type_ = extract::er_not_set;
    int id_ = id_not_set;
    int changed_ = 0;
    platform::Hidden<IDSet> ids_;
};
