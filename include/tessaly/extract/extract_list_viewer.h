#pragma once

#include <vector>

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/storage/base_record_structer.h"
#include "tessaly/storage/err_msg.h"

class EnvManager;

// One destination list of the index.
struct ExtractViewData {
    int ExtractID = -1;
    CString Name;
    COleDateTime LastUpdate;
    CString DeleteFlag;  // "Y" or empty
    CString Honorific;
};

// Saving before loading replaces the file by the lists inserted since; without any it fails with 11202.
//
// The index of the destination lists, target groups that were saved under a name: the file
// EXTRACT\extrlist.dat, one row for each list. The ID ties a list's conditions (ExtractAction) and its
// customers (ExtractResultDetail) to its row. A new list: GetNewExtractID, InsertExtractList,
// WriteAllExtractListToFile, then the writers for a new list of those two classes with the same ID. Deleting
// sets a flag; row, ID and files stay, and look-ups by ID still find the list.
//
// The environment is not owned. Failures leave their number and text in GetErrMsg(); a success leaves it as
// it was. No lock but that of the file: an object belongs to one thread.
class TESSALY_API ExtractListViewer : public BaseRecordStructer {
  public:
    // The columns of a row, in their order on disk.
    enum Column : int {
        column_id = 0,
        column_name = 1,
        column_registered = 2,
        column_delete_flag = 3,
        column_honorific = 4,
        column_count = 5,
    };
    enum Result : int { ok = 0, failed = 0, done = 1 };
    enum Failure : int {
        wrong_width = -1,     // SetExtractListFromFile, 11201: not 5 columns
        no_such_list = -1,    // 11003: the Get... of one list
        no_new_id = -1,       // 11005
        no_environment = -2,  // SetExtractListFromFile, 11001
        wrong_format = -2,  // SetExtractListFromFile, 11201; also when the environment does not give its key
        no_rows = -3,       // ExtractID2RowNumber
    };

    ExtractListViewer() = default;
    // SetEnvManager with reading; a refusal leaves 11002, is shown in a message box and raises
    // CUserException.
    explicit ExtractListViewer(EnvManager* env);

    enum ReadMode : int { read_later = 0, read_now = 1 };
    // Once only: done; failed for a null pointer, or when one is set. With `read` not 0 the file is read; a
    // failure of that does not change the result.
    int SetEnvManager(EnvManager* env, int read);
    // Drops the rows and reads the file, with `key` if `useKey` is not 0 (null for the default tables), else
    // with the environment's key. A file that is missing or empty is an empty list. Result: the number of
    // rows; no_environment, wrong_format, wrong_width.
    int SetExtractListFromFile(int useKey, char const* key);
    // The row of a list; no_rows for a table without rows, or the negative result of the search.
    int ExtractID2RowNumber(int id);
    // A number of the environment's sequence that no list has; no_new_id when 200 of them are in use or the
    // sequence gives none.
    int GetNewExtractID();
    // The number of lists that are not deleted.
    int CountExtractList();
    // The lists that are not deleted, in file order. The entries belong to the viewer and are valid until the
    // next call of this, the next read or the viewer's end. Result: their number.
    int GetExtractList(CArray<ExtractViewData*, ExtractViewData*>& out);
    // One row; a row that does not exist is empty.
    void SetExtractViewData(ExtractViewData& d, int row);
    // Appends a list of this ID and name, with the present time; the other members are not used. done; failed
    // with 11006 for a negative ID, an ID that is known, or no name; with 11999.
    int InsertExtractList(ExtractViewData& d);
    // Replaces one cell; the time of registration stays. done; failed with 11004 for a column, 11003 for a
    // list that does not exist, 11999.
    int CorrectExtractListPinPoint(char const* text, int id, int column);
    // Set and clear the delete flag; results as CorrectExtractListPinPoint.
    int DeleteExtractList(int id);
    int UnDeleteExtractList(int id);
    // One cell. ok; no_such_list with `out` empty.
    int GetExtractName(int id, CString& out) { return GetCell(id, column_name, out); }
    int GetExtractLaseUpdate(int id, CString& out) { return GetCell(id, column_registered, out); }
    int GetExtractHonorific(int id, CString& out) { return GetCell(id, column_honorific, out); }
    // The IDs of the deleted lists, and of all. `out` is emptied first. Always ok.
    int GetDeleteExtractIDList(CArray<int, int>& out);
    void GetAllExtractID(CArray<int, int>& out);

    // Writes the file if a row was changed since the last read or write; in any case; to another file with
    // `key` (null for none), where changes that are unsaved in the own file stay so. done; failed with 11001
    // (not the last), 11202.
    [[nodiscard]] int WriteAllExtractListToFile();
    [[nodiscard]] int WriteAllExtractListToFileCompel();
    [[nodiscard]] int WriteFromMemoryToFileAppointFileName(CString path, char const* key);

    CErrMsg& GetErrMsg() { return error_; }

  private:
    int Fail(int code, int result);
    CString FilePath() const;
    int Write(int compel);
    bool IsDeleted(int row) const;
    int GetCell(int id, int column, CString& out);

    int row_count_ = 0;
    std::vector<ExtractViewData> view_;
    int changed_ = 0;
    EnvManager* env_ = nullptr;
    CErrMsg error_;
};
