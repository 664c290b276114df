#pragma once

#include "tessaly/platform/cstring.h"
#include "tessaly/platform/export.h"
#include "tessaly/platform/ole_date_time.h"
#include "tessaly/storage/my_db.h"
#include "tessaly/storage/string_array_ex.h"

// A customer as an object whose setters check their arguments, for dialogs and other places where a user
// fills in one field after the other. Unless a setter says otherwise, 0 means that the value is stored and
// anything else that the field is unchanged. Texts are bytes in code page 932, dates are local time. Not
// shared between threads.
class TESSALY_API COneCustomerData {
  public:
    // The dates of SetDate.
    enum DateField : int {
        date_birthday = 0,
        date_entry = 1,
        date_renewal = 2,
    };
    // Results of the setters.
    enum SetResult : int {
        set_ok = 0,
        bad_value = -1,   // not a value of this field, or of the wrong length; no such date or attribute
        not_digits = -2,  // SetZipCode1, SetZipCode2: the right length, but not digits alone
        no_such_attribute = -2,  // SetExtra: the array of attributes is too short
        bad_lower = -2,          // SetDate: a limit or a fallback that is not valid
        bad_upper = -3,
        bad_fallback = -4,
        bad_date = -3,  // SetExtra: a date that is not valid
    };
    static constexpr int no_id = -1;
    static constexpr int extra_count = 20;

    COneCustomerData() { Init(); }
    // Copies onto a new object: a field whose setter refuses the value is as Init leaves it, and the check
    // flag is off.
    COneCustomerData(COneCustomerData const& other) : COneCustomerData() { Copy(*this, other); }
    COneCustomerData& operator=(COneCustomerData const& other);
    virtual ~COneCustomerData() = default;
    // Field by field through the setters of `to`, whose check flag stays and applies. A refused value (no ID
    // yet, an empty address, an empty part of the zip code) leaves the old value of `to`; a prefecture that
    // is not yet set becomes "<未選択>"; a birthday loses its time of day. Result: `to`.
    static COneCustomerData& Copy(COneCustomerData& to, COneCustomerData const& from);
    // Check flag 0, ID no_id, "N" in DMOk, the present time in all three dates, 20 empty attributes, all
    // other texts empty.
    void Init();

    // With the flag not 0, every setter of a single text first cleans it by ConvertUnusualData, except
    // SetZipCode, whose digits need none.
    void SetCheckCharacterCodeFlag(int flag) { check_character_code_ = flag; }
    int IsCheckCharacterCode() const { return check_character_code_; }
    // Cuts a text that is not clean one-line Shift-JIS in front of its first fault. A `type` outside the
    // three types leaves it unchanged.
    static CString ConvertUnusualData(CString text, _MYDB_DATATYPE type);

    // bad_value for a negative number. A text counts as the number at its start, 0 without one.
    int SetCustomerID(int id);
    int SetCustomerID(CString id);
    // bad_value for an address that MailAddressChecker refuses, and for an empty one.
    int SetEmail(CString address);
    void SetKanjiSei(CString text) { kanji_sei_ = Checked(text, storage::mydb_string); }
    void SetKanjiMei(CString text) { kanji_mei_ = Checked(text, storage::mydb_string); }
    void SetKanaSei(CString text) { kana_sei_ = Checked(text, storage::mydb_string); }
    void SetKanaMei(CString text) { kana_mei_ = Checked(text, storage::mydb_string); }
    void SetCompany(CString text) { company_ = Checked(text, storage::mydb_string); }
    void SetCompanyPost(CString text) { company_post_ = Checked(text, storage::mydb_string); }
    void SetAddress1(CString text) { address_1_ = Checked(text, storage::mydb_string); }
    void SetAddress2(CString text) { address_2_ = Checked(text, storage::mydb_string); }
    void SetBuilding(CString text) { building_ = Checked(text, storage::mydb_string); }

    // Both parts of the zip code: a number 0 to 9999999, or 7 digits and any "-", "－" and "ー". bad_value.
    int SetZipCode(int code);
    int SetZipCode(CString code);
    // One part: a number of at most 3 or 4 digits, or a text of exactly so many. bad_value, not_digits.
    int SetZipCode1(int code);
    int SetZipCode1(CString code);
    int SetZipCode2(int code);
    int SetZipCode2(CString code);
    // "<未選択>" or the whole name of a prefecture; for any other text bad_value, and "<未選択>" is stored.
    int SetPrefecture(CString name);
    // Digits and "-" alone, or empty. bad_value.
    int SetPhone1(CString number) { return SetNumber(phone_1_, number); }
    int SetPhone2(CString number) { return SetNumber(phone_2_, number); }
    int SetFax1(CString number) { return SetNumber(fax_1_, number); }
    int SetFax2(CString number) { return SetNumber(fax_2_, number); }
    int SetPortable1(CString number) { return SetNumber(portable_1_, number); }
    int SetPortable2(CString number) { return SetNumber(portable_2_, number); }
    // "Y" or "N"; for any other text bad_value, and "N" is stored. The number 1 is "Y", any other "N".
    int SetDMOk(CString flag);
    void SetDMOk(int flag);
    // "Y" or empty; for any other text bad_value, and the flag is emptied. The number 1 is "Y", any other
    // empty.
    int SetDeleteFlag(CString flag);
    void SetDeleteFlag(int flag);

    // `kind`: a DateField; a birthday loses its time of day. With `limit` not 0 a date before `lower` or
    // after `upper` (null for no limit) is replaced by `fallback`, or by the present for a null one. Results
    // in the order of the checks: bad_value for a date that is not valid, bad_lower, bad_upper, bad_fallback,
    // bad_value for an unknown kind.
    int SetDate(int kind, COleDateTime date, int limit, COleDateTime* fallback, COleDateTime* lower,
                COleDateTime* upper);
    // The same from a date text of the customer's row: "YYYY/MM/DD" at its start for a birthday, all of
    // "YYYY/MM/DD hh:mm:ss" for the others. A text with fewer parts than that counts as today or the present
    // time, and is no failure.
    int SetDate(int kind, CString text, int limit, COleDateTime* fallback, COleDateTime* lower,
                COleDateTime* upper);

    // Replaces all attributes. bad_value for any other number of them than 20.
    int SetExtraAll(XCStringArrayEx attributes);
    // Attribute `index`, 0 for A to 19 for T; a number becomes decimal text, a date "YYYY/MM/DD hh:mm:ss".
    // bad_date before bad_value (no such index) before no_such_attribute.
    int SetExtra(int index, CString value);
    int SetExtra(int index, int value);
    int SetExtra(int index, COleDateTime value);

    int GetCustomerID() const { return customer_id_; }
    CString GetEmail() const { return email_; }
    CString GetKanjiSei() const { return kanji_sei_; }
    CString GetKanjiMei() const { return kanji_mei_; }
    CString GetKanaSei() const { return kana_sei_; }
    CString GetKanaMei() const { return kana_mei_; }
    CString GetCompany() const { return company_; }
    CString GetCompanyPost() const { return company_post_; }
    COleDateTime GetBirthday() const { return birthday_; }
    CString GetZipCode1() const { return zip_code_1_; }
    CString GetZipCode2() const { return zip_code_2_; }
    CString GetPrefecture() const { return prefecture_; }
    CString GetAddress1() const { return address_1_; }
    CString GetAddress2() const { return address_2_; }
    CString GetBuilding() const { return building_; }
    CString GetPhone1() const { return phone_1_; }
    CString GetPhone2() const { return phone_2_; }
    CString GetFax1() const { return fax_1_; }
    CString GetFax2() const { return fax_2_; }
    CString GetPortable1() const { return portable_1_; }
    CString GetPortable2() const { return portable_2_; }
    CString GetDMOk() const { return dm_ok_; }
    CString GetDeleteFlag() const { return delete_flag_; }
    COleDateTime GetEntryDate() const { return entry_date_; }
    COleDateTime GetRenewalDate() const { return renewal_date_; }
    CString GetExtraA() const { return extra_.GetAt(0); }
    CString GetExtraB() const { return extra_.GetAt(1); }
    CString GetExtraC() const { return extra_.GetAt(2); }
    CString GetExtraD() const { return extra_.GetAt(3); }
    CString GetExtraE() const { return extra_.GetAt(4); }
    CString GetExtraF() const { return extra_.GetAt(5); }
    CString GetExtraG() const { return extra_.GetAt(6); }
    CString GetExtraH() const { return extra_.GetAt(7); }
    CString GetExtraI() const { return extra_.GetAt(8); }
    CString GetExtraJ() const { return extra_.GetAt(9); }
    CString GetExtraK() const { return extra_.GetAt(10); }
    CString GetExtraL() const { return extra_.GetAt(11); }
    CString GetExtraM() const { return extra_.GetAt(12); }
    CString GetExtraN() const { return extra_.GetAt(13); }
    CString GetExtraO() const { return extra_.GetAt(14); }
    CString GetExtraP() const { return extra_.GetAt(15); }
    CString GetExtraQ() const { return extra_.GetAt(16); }
    CString GetExtraR() const { return extra_.GetAt(17); }
    CString GetExtraS() const { return extra_.GetAt(18); }
    CString GetExtraT() const { return extra_.GetAt(19); }

  private:
    CString Checked(CString const& text, _MYDB_DATATYPE type) const;
    int SetNumber(CString& field, CString const& number);
    int SetZipPart(CString& part, CString const& code, int digits);

    int check_character_code_;
    int customer_id_;
    CString email_, kanji_sei_, kanji_mei_, kana_sei_, kana_mei_, company_, company_post_;
    COleDateTime birthday_;
    CString zip_code_1_, zip_code_2_, prefecture_, address_1_, address_2_, building_;
    CString phone_1_, phone_2_, fax_1_, fax_2_, portable_1_, portable_2_;
    CString dm_ok_, delete_flag_;
    COleDateTime entry_date_, renewal_date_;
    XCStringArrayEx extra_;
};
