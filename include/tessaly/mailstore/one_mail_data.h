#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/storage/my_db.h"

// One mail of the mail list as an object: its ID, the texts of its row, its status, dates and counters.
// Setters check their arguments; 0 is success, and after a failure the field is unchanged. Not shared between
// threads.
class TESSALY_API COneMailData {
  public:
    // The dates of SetDate.
    enum DateField : int {
        date_entry = 0,
        date_renewal = 1,
        date_reserve = 2,
        date_set_address = 3,
    };
    // Failures of the setters.
    enum SetResult : int {
        set_ok = 0,
        // a negative number, an unknown status, a flag of 3 characters, position 2 and up, a date that is not
        // valid, no such date field
        bad_value = -1,
        bad_character = -2,  // SetSpecialFlag: not exactly one character
        bad_earliest = -2,   // SetDate: a limit or a fallback that is not valid
        bad_latest = -3,
        bad_fallback = -4,
    };
    static constexpr int no_id = -1;
    static constexpr int special_flag_size = 2;

    COneMailData() { Init(); }
    COneMailData(COneMailData const& other) { Copy(*this, other); }
    COneMailData& operator=(COneMailData const& other);
    virtual ~COneMailData() = default;
    // Field by field through the setters, the check flag first. An ID and a status that are not set yet are
    // copied too, though the setters refuse such values.
    static void Copy(COneMailData& to, COneMailData const& from);
    // ID no_id, empty texts, zero numbers, all dates the present, check flag 0.
    void Init();

    // With the flag set, every text first goes through ConvertUnusualData.
    void SetCheckCharacterCodeFlag(int flag) { m_bCheckCharacterCode = flag; }
    int IsCheckCharacterCode() const { return m_bCheckCharacterCode; }

    int SetMailID(int id);
    int SetMailID(CString id);
    void SetMailTitle(CString title) { m_strMailTitle = Checked(title, storage::mydb_string); }
    void SetAddressName(CString name) { m_strAddressName = Checked(name, storage::mydb_string); }
    void SetHonorific(CString honorific) { m_strHonorific = Checked(honorific, storage::mydb_string); }
    // One of the letters D W R A I C E S B. Any other becomes "D" if `force` is not 0, else bad_value.
    int SetStatus(CString status, int force);
    int SetSentNumber(int number) { return SetNumber(m_nSentNumber, number); }
    int SetErrorNumber(int number) { return SetNumber(m_nErrorNumber, number); }
    int SetOpenNumber(int number) { return SetNumber(m_nOpenNumber, number); }
    int SetSentNumber(CString number) { return SetNumber(m_nSentNumber, number); }
    int SetErrorNumber(CString number) { return SetNumber(m_nErrorNumber, number); }
    int SetOpenNumber(CString number) { return SetNumber(m_nOpenNumber, number); }
    // `which`: a DateField. With `check` not 0 a date before `earliest` or after `latest` (null for no limit)
    // is replaced by `fallback`, or by the present for a null one. Results in the order of the checks:
    // bad_value for a date that is not valid, bad_earliest, bad_latest, bad_fallback, bad_value for an
    // unknown field.
    int SetDate(int which, COleDateTime date, int check, COleDateTime* fallback, COleDateTime* earliest,
                COleDateTime* latest);
    // The same from a date text; the present for a text that is not a whole date.
    int SetDate(int which, CString date, int check, COleDateTime* fallback, COleDateTime* earliest,
                COleDateTime* latest);
    // At most two characters: the special address flag ("N", or "Y" for a mail that was made from another)
    // and the kind of the mail (see OneMailMaker).
    int SetSpecialFlag(CString flag);
    // Replaces the character at `position` (0 or 1); a flag that is too short for that gets `character` at
    // its end.
    int SetSpecialFlag(int position, CString character);
    // A blank where the flag has no such character.
    char GetSpecialAddressFlag() const { return FlagAt(0); }
    char GetTextOrHtmlMailFlag() const { return FlagAt(1); }

    // Cuts a text that is not clean one-line Shift-JIS in front of its first fault. A `type` outside the
    // three types leaves it unchanged.
    static CString ConvertUnusualData(CString text, _MYDB_DATATYPE type);

    int GetMailID() const { return m_nMailID; }
    CString GetMailTitle() const { return m_strMailTitle; }
    CString GetAddressName() const { return m_strAddressName; }
    CString GetStatus() const { return m_strStatus; }
    int GetSentNumber() const { return m_nSentNumber; }
    int GetErrorNumber() const { return m_nErrorNumber; }
    int GetOpenNumber() const { return m_nOpenNumber; }
    COleDateTime GetEntryDate() const { return m_dtEntryDate; }
    COleDateTime GetRenewalDate() const { return m_dtRenewalDate; }
    COleDateTime GetReserveDate() const { return m_dtReserveDate; }
    COleDateTime GetSetAddressDate() const { return m_dtSetAddressDate; }
    CString GetSpecialFlag() const { return m_strSpecialFlag; }
    CString GetHonorific() const { return m_strHonorific; }

  private:
    CString Checked(CString const& text, _MYDB_DATATYPE type) const;
    int SetNumber(int& field, int number);
    int SetNumber(int& field, CString const& number);
    char FlagAt(int position) const;

    int m_bCheckCharacterCode = 0;
    int m_nMailID = no_id;
    CString m_strMailTitle, m_strAddressName, m_strStatus;
    int m_nSentNumber = 0, m_nErrorNumber = 0, m_nOpenNumber = 0;
    COleDateTime m_dtEntryDate, m_dtRenewalDate, m_dtReserveDate, m_dtSetAddressDate;
    CString m_strSpecialFlag, m_strHonorific;
};
