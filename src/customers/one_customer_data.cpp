#include "tessaly/customers/one_customer_data.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "storage/decimal.h"
#include "tessaly/customers/customer_elements.h"
#include "tessaly/text/dividers.h"
#include "tessaly/text/mail_text_check.h"
#include "tessaly/text/value_checks.h"

using enum storage::_MYDB_DATATYPE;

namespace {

constexpr char const* no_prefecture = "<未選択>";
constexpr char const* code_digits = "0123456789";
constexpr char const* code_bytes = "0123456789-";
constexpr char const* date_format = "%Y/%m/%d %H:%M:%S";
constexpr int parts_of_day = 3;
constexpr int all_date_parts = 6;

// Dividers that users write in a zip code; a kana keyboard gives a long vowel mark.
constexpr char const* zip_code_hyphens[] = {"-", "－", "ー"};
constexpr int zip_code_1_digits = 3;
constexpr int zip_code_2_digits = 4;
constexpr int highest_zip_code_1 = 999;
constexpr int highest_zip_code_2 = 9999;
constexpr int highest_zip_code = 9999999;

// As atoi; a number too large for it becomes the largest one.
int NumberAtStart(char const* text) {
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10), Limits::min(), Limits::max()));
}

CString Digits(int number, int digits) {
    CString text;
    text.Format("%0*d", digits, number);
    return text;
}

bool IsPrefecture(CString const& name) {
    CString prefecture, rest;
    xc_divide_address(name, prefecture, rest);
    return !prefecture.IsEmpty() && rest.IsEmpty();
}

bool IsValid(COleDateTime const& date) { return date.GetStatus() == COleDateTime::valid; }
// Whether a limit or fallback is given but no valid date.
bool IsBad(COleDateTime const* date) { return date && !IsValid(*date); }

COleDateTime StartOfDay(COleDateTime const& date) {
    return {date.GetYear(), date.GetMonth(), date.GetDay(), 0, 0, 0};
}

COleDateTime DayAtFixedPlaces(CString const& text) {
    return {
        NumberAtStart(text.Left(4)), NumberAtStart(text.Mid(5, 2)), NumberAtStart(text.Mid(8, 2)), 0, 0, 0};
}

COleDateTime BirthdayOf(CString const& text) {
    if (CheckDateTypeData(text, parts_of_day)) return DayAtFixedPlaces(text);
    return StartOfDay(COleDateTime::GetCurrentTime());
}

COleDateTime TimeOf(CString const& text) {
    COleDateTime time = COleDateTime::GetCurrentTime();
    if (CheckDateTypeData(text, all_date_parts)) time.ParseDateTime(text);
    return time;
}

}  // namespace

COneCustomerData& COneCustomerData::operator=(COneCustomerData const& other) {
    if (this != &other) Copy(*this, other);
    return *this;
}

COneCustomerData& COneCustomerData::Copy(COneCustomerData& to, COneCustomerData const& from) {
    to.SetCustomerID(from.customer_id_);
    to.SetEmail(from.email_);
    to.SetKanjiSei(from.kanji_sei_);
    to.SetKanjiMei(from.kanji_mei_);
    to.SetKanaSei(from.kana_sei_);
    to.SetKanaMei(from.kana_mei_);
    to.SetCompany(from.company_);
    to.SetCompanyPost(from.company_post_);
    to.SetDate(date_birthday, from.birthday_, 0, nullptr, nullptr, nullptr);
    to.SetZipCode1(from.zip_code_1_);
    to.SetZipCode2(from.zip_code_2_);
    to.SetPrefecture(from.prefecture_);
    to.SetAddress1(from.address_1_);
    to.SetAddress2(from.address_2_);
    to.SetBuilding(from.building_);
    to.SetPhone1(from.phone_1_);
    to.SetPhone2(from.phone_2_);
    to.SetFax1(from.fax_1_);
    to.SetFax2(from.fax_2_);
    to.SetPortable1(from.portable_1_);
    to.SetPortable2(from.portable_2_);
    to.SetDMOk(from.dm_ok_);
    to.SetDeleteFlag(from.delete_flag_);
    to.SetDate(date_entry, from.entry_date_, 0, nullptr, nullptr, nullptr);
    to.SetDate(date_renewal, from.renewal_date_, 0, nullptr, nullptr, nullptr);
    to.SetExtraAll(from.extra_);
    return to;
}

void COneCustomerData::Init() {
    check_character_code_ = 0;
    customer_id_ = no_id;
    for (CString* text :
         {&email_,      &kanji_sei_,  &kanji_mei_,  &kana_sei_,   &kana_mei_,   &company_,    &company_post_,
          &zip_code_1_, &zip_code_2_, &prefecture_, &address_1_,  &address_2_,  &building_,   &phone_1_,
          &phone_2_,    &fax_1_,      &fax_2_,      &portable_1_, &portable_2_, &delete_flag_})
        text->Empty();
    dm_ok_ = customers::no_text;
    birthday_ = entry_date_ = renewal_date_ = COleDateTime::GetCurrentTime();
    extra_ = XCStringArrayEx(extra_count);
}

CString COneCustomerData::ConvertUnusualData(CString text, _MYDB_DATATYPE type) {
    if (type != mydb_string && type != mydb_number && type != mydb_date) return text;
    CString clean;
    int const is_clean = CheckCharacterCodeForWinSJIS(text, clean.GetBuffer(text.GetLength()));
    clean.ReleaseBuffer();
    return is_clean ? text : clean;
}

CString COneCustomerData::Checked(CString const& text, _MYDB_DATATYPE type) const {
    return check_character_code_ ? ConvertUnusualData(text, type) : text;
}

int COneCustomerData::SetCustomerID(int id) {
    if (id < 0) return bad_value;
    customer_id_ = id;
    return set_ok;
}

int COneCustomerData::SetCustomerID(CString id) {
    return SetCustomerID(NumberAtStart(Checked(id, mydb_number)));
}

int COneCustomerData::SetEmail(CString address) {
    address = Checked(address, mydb_string);
    if (!MailAddressChecker(address)) return bad_value;
    email_ = address;
    return set_ok;
}

int COneCustomerData::SetZipCode(int code) {
    if (code < 0 || code > highest_zip_code) return bad_value;
    return SetZipCode(Digits(code, zip_code_1_digits + zip_code_2_digits));
}

int COneCustomerData::SetZipCode(CString code) {
    for (char const* hyphen : zip_code_hyphens) code.Replace(hyphen, "");
    if (code.GetLength() != zip_code_1_digits + zip_code_2_digits) return bad_value;
    if (!CheckSpecialStringData(code, code_digits)) return bad_value;
    zip_code_1_ = code.Left(zip_code_1_digits);
    zip_code_2_ = code.Mid(zip_code_1_digits);
    return set_ok;
}

int COneCustomerData::SetZipCode1(int code) {
    if (code < 0 || code > highest_zip_code_1) return bad_value;
    return SetZipCode1(Digits(code, zip_code_1_digits));
}

int COneCustomerData::SetZipCode1(CString code) { return SetZipPart(zip_code_1_, code, zip_code_1_digits); }

int COneCustomerData::SetZipCode2(int code) {
    if (code < 0 || code > highest_zip_code_2) return bad_value;
    return SetZipCode2(Digits(code, zip_code_2_digits));
}

int COneCustomerData::SetZipCode2(CString code) { return SetZipPart(zip_code_2_, code, zip_code_2_digits); }

int COneCustomerData::SetZipPart(CString& part, CString const& code, int digits) {
    CString const checked = Checked(code, mydb_string);
    if (checked.GetLength() != digits) return bad_value;
    if (!CheckSpecialStringData(checked, code_digits)) return not_digits;
    part = checked;
    return set_ok;
}

int COneCustomerData::SetPrefecture(CString name) {
    name = Checked(name, mydb_string);
    bool const known = name == no_prefecture || IsPrefecture(name);
    prefecture_ = known ? name : CString(no_prefecture);
    return known ? set_ok : bad_value;
}

int COneCustomerData::SetNumber(CString& field, CString const& number) {
    CString const checked = Checked(number, mydb_string);
    if (!CheckSpecialStringData(checked, code_bytes)) return bad_value;
    field = checked;
    return set_ok;
}

int COneCustomerData::SetDMOk(CString flag) {
    flag = Checked(flag, mydb_string);
    bool const known = flag == customers::yes_text || flag == customers::no_text;
    dm_ok_ = known ? flag : CString(customers::no_text);
    return known ? set_ok : bad_value;
}

void COneCustomerData::SetDMOk(int flag) { dm_ok_ = flag == 1 ? customers::yes_text : customers::no_text; }

int COneCustomerData::SetDeleteFlag(CString flag) {
    flag = Checked(flag, mydb_string);
    bool const known = flag == customers::yes_text || flag.IsEmpty();
    delete_flag_ = known ? flag : CString();
    return known ? set_ok : bad_value;
}

void COneCustomerData::SetDeleteFlag(int flag) { delete_flag_ = flag == 1 ? customers::yes_text : ""; }

int COneCustomerData::SetDate(int kind, COleDateTime date, int limit, COleDateTime* fallback,
                              COleDateTime* lower, COleDateTime* upper) {
    if (!IsValid(date)) return bad_value;
    if (limit) {
        if (IsBad(lower)) return bad_lower;
        if (IsBad(upper)) return bad_upper;
        if (IsBad(fallback)) return bad_fallback;
        if ((lower && date < *lower) || (upper && date > *upper))
            date = fallback ? *fallback : COleDateTime::GetCurrentTime();
    }
    switch (kind) {
        case date_birthday: birthday_ = StartOfDay(date); return set_ok;
        case date_entry: entry_date_ = date; return set_ok;
        case date_renewal: renewal_date_ = date; return set_ok;
        default: return bad_value;
    }
}

int COneCustomerData::SetDate(int kind, CString text, int limit, COleDateTime* fallback, COleDateTime* lower,
                              COleDateTime* upper) {
    text = Checked(text, mydb_date);
    COleDateTime const date = kind == date_birthday ? BirthdayOf(text) : TimeOf(text);
    return SetDate(kind, date, limit, fallback, lower, upper);
}

int COneCustomerData::SetExtraAll(XCStringArrayEx attributes) {
    if (attributes.GetSize() != extra_count) return bad_value;
    extra_ = attributes;
    return set_ok;
}

int COneCustomerData::SetExtra(int index, CString value) {
    if (index < 0 || index >= extra_count) return bad_value;
    if (index >= extra_.GetSize()) return no_such_attribute;
    extra_[index] = Checked(value, mydb_date);
    return set_ok;
}

int COneCustomerData::SetExtra(int index, int value) { return SetExtra(index, storage::Decimal(value)); }

int COneCustomerData::SetExtra(int index, COleDateTime value) {
    if (!IsValid(value)) return bad_date;
    return SetExtra(index, value.Format(date_format));
}
