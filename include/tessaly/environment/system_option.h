#pragma once

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/base_record_structer.h"
#include "tessaly/storage/err_msg.h"

class EnvManager;

// The settings of one environment: one record of text cells in <data directory>\systemoption.dat, a table
// file with the environment's key. A full record has 123 cells; records of 90 and of 120 cells stay at that
// size. The library reads only the cells named here, and holds no defaults.
//
// The environment is not owned. Failures leave their number and text in GetErrMsg(); a success leaves it as
// it was. Loads and saves hold the file's lock (BaseRecordStructer); else no lock: calls on one object do not
// overlap.
class TESSALY_API SystemOption : public BaseRecordStructer {
  public:
    static constexpr int cell_count = 123;
    static constexpr int extra_attribute_count = 20;
    // Cells that the library reads. Numbers are decimal text.
    enum Cell : int {
        cell_extra_names = 14,          // to 33: names of the extra attributes A to T
        cell_extra_types = 34,          // to 53: their types, "0" text, "1" number, "2" date
        cell_retry_unconditional = 54,  // "N" refuses a retry without conditions
        cell_retry_limit = 65,          // highest number of retries
        cell_import_flag = 111,         // "Y": the shop import renames attributes
    };
    enum Result : int {
        ok = 0,
        no_environment = -1,     // 4001
        no_valid_record = -3,    // 4003: not one record of 123, 90 or 120 cells
        bad_index = -4,          // 4004
        bad_data_length = -5,    // 4005
        not_changed = -19,       // 4099: the record could not be changed
        file_missing = -21,      // 4201
        file_empty = -22,        // 4202
        file_format = -23,       // 4203
        file_not_written = -24,  // 4204
        file_unexpected = -25,   // 4205
        no_database_key = -27,   // 4207: a keyed environment without a database key
    };

    SystemOption() = default;
    // Failure of SetEnvManager: 4002, shown in a message box, then CUserException.
    explicit SystemOption(EnvManager* env);

    // 1; 0 for a null pointer, or when one is set already.
    int SetEnvManager(EnvManager* env);

    // Drops the record and reads the file: ok, no_environment, no_database_key, a failure of the file, or
    // no_valid_record. After the last, and after file_format, the records read so far are in memory.
    int GetSODataFromFileToMemory();
    // Writes the record if it was changed since the last read or write, else does nothing and gives ok: ok,
    // no_environment, no_valid_record, no_database_key, file_not_written. After a failure it still counts as
    // changed.
    [[nodiscard]] int WriteSODataFromMemoryToFile();
    // The same, changed or not.
    [[nodiscard]] int WriteSODataFromMemoryToFileCompel();

    // All 123 cells in order, those that a shorter record lacks being empty. no_valid_record.
    int GetSODataFromMemoryToAllData(CArray<CString, CString>& data) const;
    // Replaces the record, or makes it, from 123, 90 or 120 texts; the record has the number of cells of
    // SetElementNumber, further ones being empty. bad_data_length, not_changed (no element number set).
    int SetSODataFromAllDataToMemory(CArray<CString, CString>& data);
    // One cell, `index` 0 to 122. A cell that a shorter record lacks reads as empty, and a value written to
    // it is lost with result ok. no_valid_record, bad_index, not_changed.
    int GetSODataFromMemoryPinPoint(int index, CString& value) const;
    int SetSODataToMemoryPinPoint(int index, CString& value);
    // Names and types of the 20 extra attributes; a type that is no number counts as 0. no_valid_record.
    int GetSOExtractDataFromMemory(CArray<CString, CString>& names) const;
    int GetSOExtractTypeFromMemory(CArray<int, int>& types) const;

    CErrMsg& GetErrMsg() { return error_; }

  private:
    int Fail(int code, Result result) const;
    int CheckRecord() const;
    CString FilePath() const;
    int Write();

    int changed_ = 0;
    EnvManager* env_ = nullptr;
    mutable CErrMsg error_;
};
