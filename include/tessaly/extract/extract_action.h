#pragma once

#include "tessaly/platform/containers.h"
#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/storage/base_record_structer.h"
#include "tessaly/storage/err_msg.h"
#include "tessaly/storage/my_db.h"
#include "tessaly/storage/string_array_ex.h"

class CDatabaseEdit;
class EnvManager;

namespace extract {

// The owner of the conditions.
enum ECTYPE : int {
    ec_not_set = -2,
    ec_mail = 0,  // MAIL\<id>\merd<id>.dat
    ec_list = 1,  // EXTRACT\exrd<id>.dat, the conditions of a destination list
};
// A slot of a set: tab 0 to 2, and condition 0 to 4 in it.
enum EC_TAB_NUM : int { ec_tab_1 = 0, ec_tab_2 = 1, ec_tab_3 = 2 };
enum EC_CON_NUM : int { ec_con_1 = 0, ec_con_2 = 1, ec_con_3 = 2, ec_con_4 = 3, ec_con_5 = 4 };
inline constexpr int ec_tab_count = 3;
inline constexpr int ec_con_count = 5;

}  // namespace extract
using extract::EC_CON_NUM;
using extract::EC_TAB_NUM;
using extract::ECTYPE;

// One slot; a new object is the empty slot.
struct OneExtractCondition {
    int ElementNumber = -1;           // of the customer row; -1: the slot is not used
    CString Mode = "E";               // "E" compares with the values, "R" tests the range
    CArray<CString, CString> Values;  // one in double quotes, with its quotes doubled, if it holds a comma
    CString EqualFlag = "Y";          // "Y", or "N" for customers who match none of the values
    CString RangeLow;                 // empty: no bound
    CString RangeHigh;
    CString RangeFlag = "Y";  // "Y", or "N" for values outside
};

// A set of conditions on customer columns, 3 tabs of 5 slots, and their use: a list of customer IDs is
// narrowed by one slot at a time. Slots that are applied to one list one after the other are joined by AND;
// which slots are applied to which list is up to the application. The set of a mail or of a destination list
// is one file of 15 rows.
//
// The order of use is: bind, SetTypeAndID, GetExtractConditionFromFileToMemory, read and write slots, one of
// the writers. A set for a list that is not yet saved has type ec_list and ID -1, and gets its ID from
// WriteAllExtractConditionOnMemoryToFileNew. Before a load and after a failed one the table has not its 15
// rows, and every operation on slots and every save fails.
//
// Environment and database are not owned. Failures leave their number and text in GetErrMsg() where one is
// named; a success leaves it as it was. No lock of its own: calls on one object do not overlap; while
// customers are tested the database's lock is held.
class TESSALY_API ExtractAction : public BaseRecordStructer {
  public:
    static constexpr int id_not_set = -2;
    static constexpr int id_new_list = -1;
    static constexpr int unused = -1;  // element number of an empty slot
    // The columns of a row, in their order on disk.
    enum Column : int {
        column_element = 0,
        column_mode = 1,
        column_values = 2,
        column_equal_flag = 3,
        column_range_low = 4,
        column_range_high = 5,
        column_range_flag = 6,
        column_count = 7,
    };
    enum Result : int {
        ok = 0,
        no_environment = -1,     // 6001
        no_database = -4,        // 6004
        no_element_info = -6,    // 6006: the database does not give the element's type
        bad_table = -7,          // 6007: not 15 rows of 7 (no number in ...FromMemoryToStruct)
        no_type = -8,            // 6008
        no_id = -10,             // 6010
        bad_target = -12,        // 6012: an ID that does not match the type or the operation
        bad_element = -13,       // 6013
        bad_tab = -14,           // 6014
        bad_condition = -15,     // 6015
        bad_mode = -16,          // 6016
        file_missing = -41,      // 6401
        file_empty = -42,        // 6402
        file_format = -43,       // 6403; also when the environment does not give its key
        file_not_written = -44,  // 6404; likewise
        unexpected = -99,        // 6999
    };

    ExtractAction() { InitMember(); }
    // Binds by the setters: a refusal leaves 6002 or 6005, is shown in a message box and raises
    // CUserException. So does a failing SetTypeAndID, with its number.
    ExtractAction(EnvManager* env, CDatabaseEdit* database);
    ExtractAction(EnvManager* env, CDatabaseEdit* database, ECTYPE type, int id);

    // Each once only: 1; 0 for a null pointer, or when one is set already. Once both are set the database
    // gets the environment; one that holds it keeps it.
    int SetEnvManager(EnvManager* env);
    int SetDatabaseEdit(CDatabaseEdit* database);
    // ok; bad_target for a mail with ID -1. Nothing else is checked.
    int SetTypeAndID(ECTYPE type, int id);
    int GetTargetID() const { return id_; }
    CErrMsg& GetErrMsg() { return error_; }

    // Drops the rows and loads the set, with `key` if `useKey` is not 0 (null for the default tables), else
    // with the environment's key. For ID -1 it is 15 empty slots, and no file is read. ok; no_environment,
    // no_type, no_id, bad_target, and the rows stay; file_missing, file_empty, file_format, unexpected;
    // bad_table.
    int GetExtractConditionFromFileToMemory(int useKey, char const* key);
    // One slot. ok, bad_table, bad_tab, bad_condition. The values read keep their quotes.
    int GetExtractConditionFromMemoryToStruct(OneExtractCondition& c, EC_TAB_NUM tab, EC_CON_NUM con);
    // Sets one slot; the values are joined by commas as they stand. ok, bad_table, bad_tab, bad_condition,
    // bad_element (neither -1 nor 0 to 55), unexpected.
    int SetExtractConditionFromStructToMemory(OneExtractCondition& c, EC_TAB_NUM tab, EC_CON_NUM con);
    enum SlotState : int { slot_empty = 0, slot_used = 1 };
    // A SlotState; bad_table, bad_tab, bad_condition.
    int CheckExtractEffective(EC_TAB_NUM tab, EC_CON_NUM con);

    // Narrows `ids` to the customers who pass the slot's test, in their order; an empty slot passes all.
    // Whatever the test, customers who are not in the database or refuse direct mail are removed; deleted
    // customers count like others. ok; no_database, bad_table, bad_tab, bad_condition, bad_element, bad_mode,
    // no_element_info, and `ids` stays. Costs one look-up a customer.
    int PracticalExtractAction(CList<int, int>& ids, EC_TAB_NUM tab, EC_CON_NUM con);

    // The writers: ok; no_environment, no_type, no_id, bad_target, bad_table, file_not_written. A success of
    // the first three clears the changed flag.
    //
    // To the file of the target, whose ID is not -1: if a slot was changed since the last load or write, and
    // in any case.
    [[nodiscard]] int WriteAllExtractConditionOnMemoryToFile();
    [[nodiscard]] int WriteAllExtractConditionOnMemoryToFileCompel();
    // Writes a new list's set, ID -1 so far, to the file of `newID`, which becomes the ID.
    [[nodiscard]] int WriteAllExtractConditionOnMemoryToFileNew(int newID);
    // Writes to any file, with `key` (null for the default tables); the object does not change.
    [[nodiscard]] int WriteFromMemoryToFileAppointFileName(CString path, char const* key);

    // The values of a row's text, divided at its commas outside of quotes. The quotes stay; a comma at the
    // end adds no value, and an empty text has no values.
    void DivideExtractCsv(CString text, CArray<CString, CString>& out);

  private:
    struct Slot;

    void InitMember();
    void InitEATemp();
    void SetEATempFromMemory(int row);
    void SetEATempFromOneExtractCondition(OneExtractCondition const& c);
    void SetOneExtractConditionFromEATemp(OneExtractCondition& c);
    int GetElementDataType(int element, _MYDB_DATATYPE& type);

    int Fail(int code, Result result);
    bool IsWhole() const;
    int CheckSlot(int tab, int con);
    int CheckToWrite();
    CString FilePath(int id) const;
    int Write(int id, int compel);
    int TakeSlot(int row, Slot& slot);
    static bool Passes(Slot& slot, char const* data, std::size_t length);

    ECTYPE type_ = extract::ec_not_set;
    int id_ = id_not_set;
    int changed_ = 0;
    EnvManager* env_ = nullptr;
    CDatabaseEdit* database_ = nullptr;
    XCStringArrayEx work_row_;
    CErrMsg error_;
};
