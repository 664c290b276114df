#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/err_msg.h"
#include "tessaly/storage/my_db.h"

class CCompoundKeyManager;

// Saving before loading empties the file: WriteFromMemoryToFile writes the row in memory, and none is an
// empty file.
//
// The open environment: one environment file and the directory of data files beside it. The application makes
// one, sets its file with InitEnvFileInfo and passes the pointer to every other object, none of which
// outlives it.
//
// The environment file is a table file of one row, scrambled with the application key: compound key, entry
// date, renewal date ("%Y/%m/%d %H:%M:%S", local time). Every request for one of them reads the file again
// and replaces the row in memory. For <dir>\<name>.<ext> the data directory is <dir>\<name>.
//
// A wrong application key and a damaged compound key show when the values are read: the database key, the
// flag and the password are then empty. The setters of flag and password never write over such a compound
// key.
//
// Failures leave their number and text in GetErrMsg() where one is named; a success leaves it as it was. No
// lock: calls on one object do not overlap.
class TESSALY_API EnvManager : public CMyDB {
  public:
    enum EnvironmentType : int {
        type_not_initialised = 0,
        type_plain = 3,  // no key in use; data files use the default tables
        type_keyed = 5,  // data files are scrambled with the database key
    };
    enum Column : int {
        column_compound_key = 0,
        column_entry_date = 1,
        column_renewal_date = 2,
        column_count = 3
    };
    static constexpr int ok = 0;

    EnvManager();

    enum MakeResult : int { make_cannot_open = -1, make_cannot_write = -2 };
    // Makes or overwrites an environment file: a new database key, no password, the present time as both
    // dates. A null `key` means the default table and an empty compound key. Results: ok or a MakeResult; no
    // error number.
    static int MakeDefaultEnvFile(CString path, char const* key);

    enum InitResult : int {
        init_no_root = -1,            // 9003: the directory of the file does not exist
        init_no_file = -2,            // 9005: the file cannot be opened
        init_no_data_directory = -3,  // 9005: the type is set already
        init_read_base = -10,         // plus the negative result of CMyDB::ReadDBFile; no number
    };
    enum InitMode : int { existing_environment = 0, new_environment = 1 };
    // The argument `useKey` of the objects that load a file of the environment.
    enum KeyUse : int { use_own_key = 0, use_given_key = 1 };
    // Opens the environment of the file `path` with the application key `key`. An empty file, or a null key,
    // makes it one of type_plain. With `new_env` not 0 neither file nor data directory is looked at. Results:
    // ok or an InitResult.
    int InitEnvFileInfo(CString path, char const* key, int new_env);

    // Drive and directory of the file with the closing backslash; its name without extension; its full path.
    CString GetEnvRoot() const { return root_; }
    CString GetEnvName() const { return name_; }
    CString GetEnvPath() const { return path_; }
    int GetEnvType() const { return type_; }
    // A path below the data directory, such as "DB\\dbseq.dat", with each double backslash made one.
    CString DataPath(char const* below) const;

    enum ReadResult : int {
        read_not_initialised = -1,  // 9016
        read_bad_data = -2,         // 9010: wrong number of fields
        read_no_file = -3,          // 9008: the file is missing, empty or cannot be opened
        read_failed = -4,           // 9008: any other failure
        read_wrong_type = -5,       // 9017: no keyed environment
        read_row_count = -6,        // 9011: not exactly one row
        read_no_cell = -7,          // 9011
        read_bad_date = -8,  // 9023 entry date, 9024 renewal date: not a full date (in GetEntryDate and
                             // GetRenewalDate)
        // GetCompoundKey checks both dates too, with numbers of its own:
        compound_no_entry_date = -8,     // 9011
        compound_bad_entry_date = -9,    // 9023
        compound_no_renewal_date = -10,  // 9011
        compound_bad_renewal_date = -11  // 9024
    };
    // Results: ok or a ReadResult; `out` is written only with ok.
    int GetCompoundKey(CString& out);
    int GetEntryDate(CString& out);
    int GetRenewalDate(CString& out);

    static constexpr int set_cell_failed = -1;
    // Change the cell in memory; a table without a row gets one first. Failure: set_cell_failed with 9018,
    // 9019, 9020.
    int SetCompoundKey(CString value);
    int SetEntryDate(CString value);
    int SetRenewalDate(CString value);
    static constexpr int write_failed = -1;
    // Writes the row with the application key. Failure: write_failed with 9009.
    [[nodiscard]] int WriteFromMemoryToFile();

    enum KeyResult : int {
        key_not_read = -1,       // GetCompoundKey failed and set its number
        key_no_application = -2  // the application key is empty; no number
    };
    // The values of the compound key, each empty when that does not decode. Results: ok or a KeyResult.
    int GetUseEnvPasswordFlag(CString& out);
    int GetEnvPasswordMD5(CString& out);
    int GetDBKey(CString& out);
    // The database key, empty on any failure.
    CString GetDBKey();

    enum SetterResult : int {
        set_flag_failed = -1,          // SetUseEnvPasswordFlag
        set_password_failed = -2,      // SetEnvPassword, SetEnvPasswordMD5
        set_compound_undecodable = -5  // any of them: the compound key in the file does not decode
    };
    // Each rewrites the environment file at once with one value of the compound key changed; the dates stay.
    // `flag` is "", "Y" or "N"; SetEnvPassword stores the MD5 of its text, SetEnvPasswordMD5 its text itself.
    // They need one row in memory. Results: ok or a SetterResult, always with 9011; the file stays as it is,
    // except after a failed write.
    int SetUseEnvPasswordFlag(CString flag);
    int SetEnvPassword(CString password);
    int SetEnvPasswordMD5(CString md5);
    enum PasswordResult : int {
        password_right = 0,
        password_wrong = 1,
        password_no_md5 = -1,   // 9012: its MD5 cannot be formed
        password_not_read = -2  // 9008: the stored one cannot be read
    };
    // Whether `password` has the stored MD5.
    int IsEnvPasswordOK(CString password);

    CErrMsg& GetErrMsg() { return error_; }

  private:
    struct DateCell;
    static DateCell const entry_date;
    static DateCell const renewal_date;

    int Fail(int code, int result);
    bool IsInitEnvFileInfo() const { return type_ != type_not_initialised; }
    int ReadRow();
    int TakeDate(DateCell const& date, int no_cell, int bad_date, CString& out);
    int ReadDate(DateCell const& date, CString& out);
    int SetCell(Column column, CString const& value, int code);
    int OpenCompoundKey(CCompoundKeyManager& keys);
    // Puts a compound key with the given or the present flag and password into the file.
    int SetCompoundKey(int set_flag, CString flag, int set_password, CString password, int password_is_md5);
    int EndOfSetter(int worker_result, int failure);

    int type_ = type_not_initialised;
    CString root_;
    CString name_;
    CString path_;
    CString key_;
    CErrMsg error_;
};
