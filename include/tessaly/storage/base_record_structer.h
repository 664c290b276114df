#pragma once

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/string_array_ex.h"

class XCsvRead;

// Saving before loading replaces the file by the records in memory, and none (with an element number set) is
// an empty file.
//
// A table of records in memory that takes its width from the file it loads; the small files of a mail or a
// list are made of it. A record holds "element number" cells; records and elements count from 0. Nothing
// reaches the disk before a save, and the destructor saves nothing.
//
// The records stand in the array below, and the count of records is the size of that array. Changing the
// array directly changes the table without the changed flag.
//
// Threads: each load and save holds a lock named after the file ("hist12_.dat" for ...\hist12.dat, whatever
// the directory), which excludes other processes too. The records have no lock: one object belongs to one
// thread, or its owner takes a lock of its own.
//
// Where nothing else is said a result is 1 for success and 0 for failure, and a failure changes nothing.
class TESSALY_API BaseRecordStructer : public CArray<XCStringArrayEx, XCStringArrayEx> {
  public:
    // Results of LoadCSVFile.
    enum LoadResult : int {
        load_ok = 0,
        load_missing = -1,      // the file cannot be opened
        load_empty = -2,        // it holds no record
        load_wrong_width = -3,  // a record has another number of fields than the first
        load_bad_start = -4,    // its first record is blank or malformed
        load_read_failed = -5,  // the system failed to read it
    };
    // Failures of the four searches; a record number is a match.
    enum SearchResult : int {
        search_none = -1,          // no records, or none that matches
        search_bad_argument = -2,  // empty text, element or start out of range, step 0
    };

    BaseRecordStructer() = default;
    BaseRecordStructer(BaseRecordStructer const&) = default;
    BaseRecordStructer& operator=(BaseRecordStructer const&) = default;
    virtual ~BaseRecordStructer();

    // Drops all records and sets the width; sets the changed flag. 0 for a negative width.
    int SetElementNumber(int elements);
    int GetElementNumber() const { return element_number_; }
    int GetRecordNumber() const { return GetSize(); }

    // A copy of a record; `out` is emptied on failure.
    int GetString(int record, XCStringArrayEx& out) const;

    // Appends a record. `values` holds element-number texts, a null one counting as empty; the form with a
    // row takes it unchanged, and the caller gives it the right number of cells. 0 while the element number
    // is below 1.
    int InsertString(char const** values);
    int InsertString(XCStringArrayEx& row);
    // Replaces a record, with the same arguments. 0 while the element number is below 1, or with no such
    // record.
    int CorrectString(int record, char const** values);
    int CorrectString(int record, XCStringArrayEx& row);
    // 0 while the element number is below 1, or with no such record.
    int DeleteString(int record);
    // The width stays; sets the changed flag.
    void DeleteAllString();

    // A cell, empty when either number is out of range. The element comes first.
    CString GetStringElement(int element, int record) const;

    // Moves the named records to the front in the order of the list; the others follow in their old order. A
    // number that names no record, or names one a second time, is skipped. `order` as text is separated by
    // commas, and a piece of it that is no number names no record. With an empty list 1, and nothing changes.
    // 0 while the element number is below 1.
    int FullSort(char const* order);
    int FullSort(CArray<int, int>& order);

    // The number of the first record from `start` on, in steps of `step` (backwards if negative), whose cell
    // matches `text`, or a SearchResult. An empty table gives search_none whatever the arguments.
    int TotalAgreementReference(char const* text, int element, int start, int step) const;  // equal bytes
    int TotalAgreementReferenceSameUpLow(char const* text, int element, int start,
                                         int step) const;                                   // but for case
    int FrontAgreementReference(char const* text, int element, int start, int step) const;  // begins with it
    // The text occurs in the cell; a match begins at a whole character.
    int PartialAgreementReference(char const* text, int element, int start, int step) const;

    // Reads a table file, with the default tables for a null `key`. Whatever the result, the former records
    // are dropped: after load_missing, load_bad_start and load_read_failed the table is empty with element
    // number 0, after load_empty with element number 1, and after load_wrong_width it holds the records
    // before the bad one. A blank or malformed record behind the first ends the table like the end of the
    // file. The changed flag is set afterwards.
    int LoadCSVFile(char const* path, char const* key);
    // Whether the last load, whatever its result, stopped before the end of the file: at a failure, a
    // malformed record, a record with the wrong number of fields, a blank record with anything behind it,
    // open quotes or a last line without LF; or met a NUL. Saving such a table loses what was left out.
    bool StoppedBeforeEnd() const noexcept { return stopped_before_end_; }
    // Writes the table if it is changed or `compel` is not 0, else leaves the file unchanged with result 1. A
    // success clears the changed flag. A failed write, including one that shows only when the file is closed,
    // leaves the flag and the records as they were and the file with the bytes written so far. 0 while the
    // element number is below 1.
    [[nodiscard]] int SaveCSVFile(char const* path, int compel, char const* key);
    [[nodiscard]] int SaveCSVFileCompel(char const* path, char const* key);

  protected:
    // Writes the table to another file: as SaveCSVFileCompel, but the changed flag stays as it was, so that
    // changes that were not saved in the own file still count as unsaved.
    [[nodiscard]] int SaveCSVFileCopy(char const* path, char const* key) const;

  private:
    bool HoldsRecord(int record) const { return element_number_ > 0 && record >= 0 && record < GetSize(); }
    XCStringArrayEx RowOf(char const** values) const;
    template <class Matches>
    int Search(char const* text, int element, int start, int step, Matches matches) const;
    int ReadRecords(XCsvRead& reader);
    bool WriteRecords(char const* path, char const* key) const;

    int changed_ = 0;
    int element_number_ = 0;
    bool stopped_before_end_ = false;
};
