#pragma once

#include <cstdint>
#include <unordered_map>

#include "tessaly/mailstore/one_mail_data.h"
#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/my_db.h"

class EnvManager;

// Saving a list that could not be read replaces its file by the rows in memory, and none is an empty file.
//
// The index of all mails of an environment: the file MAIL\maillist.dat, held in memory as rows of 13 texts.
// The bodies, recipients and histories are in a folder for each mail; the application shows the row.
//
// A viewer is usable once SetEnvManager has read the list. Rows change in memory; only WriteMailList writes
// the file, and other viewers see changes only after that. The environment is not owned and cannot be
// changed.
//
// Every read repairs the list: a mail folder with its three files (texts, recipients, conditions) whose mail
// has no row, or one of unknown status, gets a row again, the list is written, and a note to the user goes
// through the message box handler (see SetMessageBoxHandler; without a handler it is printed, so nothing
// blocks).
//
// The statuses of a mail: "D" when it is made, edited or restored; "S" when it is deleted, its row and folder
// staying; any other letter as the application sets it.
//
// Threads: every public operation takes the named mutex MAIL_LIST_VIEWER_MUTEX for its whole duration and
// waits for it without limit, also against other viewers and other processes. The operations inherited from
// CMyDB do not.
class TESSALY_API CMailListViewer : public CMyDB {
  public:
    // The columns, in their order on disk, which never changes.
    enum Column : int {
        column_id = 0,
        column_title = 1,
        column_address_name = 2,
        column_status = 3,
        column_entry_date = 4,
        column_renewal_date = 5,
        column_reserve_date = 6,
        column_sent = 7,
        column_errors = 8,
        column_opened = 9,
        column_set_address_date = 10,
        column_special_flag = 11,
        column_honorific = 12,
        column_count = 13,
        column_count_without_honorific = 12,  // files of an earlier form
    };
    // The statuses that the list itself gives.
    static constexpr char const* letter_draft = "D";
    static constexpr char const* letter_deleted = "S";
    // Bits of a status mask.
    enum Status : unsigned long {
        status_d = 1,
        status_w = 2,
        status_r = 4,
        status_a = 8,
        status_i = 16,
        status_c = 32,
        status_e = 64,
        status_s = 128,
        status_b = 256,
    };
    // Bits of a view mask.
    enum View : unsigned long {
        view_not_deleted = 1,  // all but S
        view_drafts = 2,       // D
        view_waiting = 4,      // W R A I B
        view_done = 8,         // C E
        view_all = 16,         // all but S
        view_deleted = 32,     // S
    };
    enum Result : int {
        ok = 0,
        no_environment = -1,     // CountMail
        write_failed = -1,       // the writers: no environment, or the file was not written
        no_new_id = -1,          // GetNewMailID
        no_such_mail = -1,       // no row has the ID
        add_failed = -1,         // SetMailData
        replace_failed = -2,     // SetMailData
        bad_column = -2,         // the PinPoint operations
        store_failed = -2,       // DeleteMailData, UnDeleteMailData, RemoveMailData
        no_id_for_copy = -2,     // GetMailDataForReprint
        cell_not_stored = -3,    // SetMailDataPinPoint
        copy_not_stored = -3,    // GetMailDataForReprint
        update_not_written = -4  // Update4AddHtmlMailAbility
    };
    // Results of ReadMailList, beside the negative ones of CMyDB::ReadDBFile.
    enum ReadResult : int { read_no_environment = -2, read_wrong_width = -3 };

    CMailListViewer() { Init(); }
    // As Init and SetEnvManager; a failure is shown in a message box and raises CUserException.
    explicit CMailListViewer(EnvManager* env);
    CMailListViewer(CMailListViewer const&) = default;
    CMailListViewer& operator=(CMailListViewer const&) = default;
    ~CMailListViewer() override = default;

    // 13 columns, 12 accepted too, no rows, no environment. Always 1.
    int Init();
    // Once only: binds and reads. 1; 0 for a null pointer, when one is bound already, or when the list could
    // not be read; the environment is then bound all the same.
    int SetEnvManager(EnvManager* env);
    EnvManager* GetEnvManager() const { return env_; }

    // Replaces the rows by those of the file and repairs the list. An empty file gives an empty list. Result:
    // the number of rows; read_no_environment, read_wrong_width (the rows read stay), or the failure of
    // CMyDB::ReadDBFile; db_bad_format also when the environment does not give its key.
    int ReadMailList();
    enum WriteMode : int { write_if_changed = 0, write_always = 1 };
    // Writes the list if it has changed or `compel` is not 0; an environment without a key writes changed
    // lists only. ok, write_failed.
    [[nodiscard]] int WriteMailList(int compel);
    [[nodiscard]] int WriteMailListCompel() { return WriteMailList(1); }
    // Writes the list to another file with `key` (null for none). The own path, and changes that are unsaved
    // there, stay. ok, write_failed.
    [[nodiscard]] int WriteFromMemoryToFileAppointFileName(CString path, char const* key);

    // A number of the environment's sequence that no mail has; no_new_id when 200 of them are in use or the
    // sequence gives none.
    int GetNewMailID();
    // The number of rows; no_environment.
    int CountMail();
    // The number of rows in any view of `viewMask`, and their IDs in row order if `ids` is not null.
    int CountMailByViewType(unsigned long viewMask, CArray<int, int>* ids);
    enum MaskUse : int { status_in_mask = 0, status_not_in_mask = 1 };
    // The number of rows whose status is in `statusMask`; with `invert` not 0, of those whose status is known
    // and not in it. A row of unknown status never counts.
    int CountMailByMailStatus(unsigned long statusMask, CArray<int, int>* ids, int invert);

    // Fills `out`, its check flag set. An entry, renewal or set-address date in the future reads as the
    // present. A field whose value a setter refuses keeps the value that `out` had. ok, no_such_mail.
    int GetMailData(int id, COneMailData& out);
    // One cell; `out` is empty on failure. ok, no_such_mail, bad_column.
    int GetMailDataPinPoint(int id, int column, CString& out);
    // A draft made of an old mail: a new ID, status D, entry and renewal date the present, counters 0,
    // special address flag Y. It is added to the list, which is not written. ok, no_such_mail,
    // no_id_for_copy, copy_not_stored.
    int GetMailDataForReprint(int id, COneMailData& out);
    // Adds a row, or replaces that of the same ID. ok, add_failed, replace_failed.
    int SetMailData(COneMailData& data);
    // ok, bad_column, no_such_mail, cell_not_stored.
    int SetMailDataPinPoint(int id, int column, CString value);
    // Sets status S, and back to D whatever it was. ok, no_such_mail, store_failed.
    int DeleteMailData(int id);
    int UnDeleteMailData(int id);
    enum FindResult : int { mail_found = 0, mail_not_found = 1 };
    int FindMailData(int id);
    // Removes the row; the folder stays. ok, no_such_mail, store_failed.
    int RemoveMailData(int id);
    // Brings special flags from before HTML mail to two characters and writes the list. ok, a failure of
    // SetMailDataPinPoint, update_not_written.
    int Update4AddHtmlMailAbility();

  private:
    static constexpr int no_row = -1;

    int MailID2RowNumber(int id);
    static unsigned long ConvertStatusStrToDword(CString const& status);
    template <class Wanted>
    int CountRows(CArray<int, int>* ids, Wanted const& wanted);
    int SetStatusOf(int id, char const* status);
    void UseIndex();
    // For a change that does not affect the index.
    void KeepIndex() { index_revision_ = Revision(); }

    // mail_list_repair.cpp
    void RepairMailList();
    int GetMailFolderNameInThisEnv(CArray<CString, CString>& names);
    int CheckMailFolderInThisEnv(CArray<CString, CString> const& names, CArray<CString, CString>& complete);
    void BringBack(int id);

    EnvManager* env_ = nullptr;
    std::unordered_map<int, int> rows_by_id_;           // the first row of each ID
    std::uint64_t index_revision_ = ~std::uint64_t{0};  // the table's revision that the index describes
};
