#include "tessaly/mailstore/one_mail_data.h"

#include <cstdlib>
#include <string_view>
#include <vector>

#include "tessaly/text/mail_text_check.h"
#include "tessaly/text/value_checks.h"

using enum storage::_MYDB_DATATYPE;

namespace {

constexpr std::string_view known_statuses = "DWRAICESB";
constexpr char const* draft = "D";
constexpr int all_date_parts = 6;

bool IsKnownStatus(CString const& status) {
    return status.GetLength() == 1 && known_statuses.find(status.View()[0]) != std::string_view::npos;
}

bool IsValid(COleDateTime const& date) { return date.GetStatus() == COleDateTime::valid; }
// Whether a limit or fallback is given but no valid date.
bool IsBad(COleDateTime const* date) { return date && !IsValid(*date); }

}  // namespace

COneMailData& COneMailData::operator=(COneMailData const& other) {
    if (this != &other) Copy(*this, other);
    return *this;
}

void COneMailData::Copy(COneMailData& to, COneMailData const& from) {
    to.SetCheckCharacterCodeFlag(from.m_bCheckCharacterCode);
    to.m_nMailID = from.m_nMailID;  // the setter refuses no_id
    to.SetMailTitle(from.m_strMailTitle);
    to.SetAddressName(from.m_strAddressName);
    to.SetHonorific(from.m_strHonorific);
    to.m_strStatus = from.m_strStatus;  // the setter refuses an empty one too
    to.SetSentNumber(from.m_nSentNumber);
    to.SetErrorNumber(from.m_nErrorNumber);
    to.SetOpenNumber(from.m_nOpenNumber);
    to.SetDate(date_entry, from.m_dtEntryDate, 0, nullptr, nullptr, nullptr);
    to.SetDate(date_renewal, from.m_dtRenewalDate, 0, nullptr, nullptr, nullptr);
    to.SetDate(date_reserve, from.m_dtReserveDate, 0, nullptr, nullptr, nullptr);
    to.SetDate(date_set_address, from.m_dtSetAddressDate, 0, nullptr, nullptr, nullptr);
    to.SetSpecialFlag(from.m_strSpecialFlag);
}

void COneMailData::Init() {
    m_bCheckCharacterCode = 0;
    m_nMailID = no_id;
    for (CString* text :
         {&m_strMailTitle, &m_strAddressName, &m_strStatus, &m_strSpecialFlag, &m_strHonorific})
        text->Empty();
    m_nSentNumber = m_nErrorNumber = m_nOpenNumber = 0;
    m_dtEntryDate = m_dtRenewalDate = m_dtReserveDate = m_dtSetAddressDate = COleDateTime::GetCurrentTime();
}

CString COneMailData::ConvertUnusualData(CString text, _MYDB_DATATYPE type) {
    if (type != mydb_string && type != mydb_number && type != mydb_date) return text;
    std::vector<char> clean(static_cast<std::size_t>(text.GetLength()) + 1);
    return CheckCharacterCodeForWinSJIS(text, clean.data()) == 0 ? CString(clean.data()) : text;
}

CString COneMailData::Checked(CString const& text, _MYDB_DATATYPE type) const {
    return m_bCheckCharacterCode ? ConvertUnusualData(text, type) : text;
}

int COneMailData::SetNumber(int& field, int number) {
    if (number < 0) return bad_value;
    field = number;
    return set_ok;
}

int COneMailData::SetNumber(int& field, CString const& number) {
    return SetNumber(field, std::atoi(Checked(number, mydb_number)));
}

int COneMailData::SetMailID(int id) { return SetNumber(m_nMailID, id); }

int COneMailData::SetMailID(CString id) { return SetNumber(m_nMailID, id); }

int COneMailData::SetStatus(CString status, int force) {
    status = Checked(status, mydb_string);
    if (!IsKnownStatus(status)) {
        if (!force) return bad_value;
        status = draft;
    }
    m_strStatus = status;
    return set_ok;
}

int COneMailData::SetDate(int which, COleDateTime date, int check, COleDateTime* fallback,
                          COleDateTime* earliest, COleDateTime* latest) {
    if (!IsValid(date)) return bad_value;
    if (check) {
        if (IsBad(earliest)) return bad_earliest;
        if (IsBad(latest)) return bad_latest;
        if (IsBad(fallback)) return bad_fallback;
        if ((earliest && date < *earliest) || (latest && date > *latest))
            date = fallback ? *fallback : COleDateTime::GetCurrentTime();
    }
    COleDateTime* const fields[] = {&m_dtEntryDate, &m_dtRenewalDate, &m_dtReserveDate, &m_dtSetAddressDate};
    if (which < date_entry || which > date_set_address) return bad_value;
    *fields[which] = date;
    return set_ok;
}

int COneMailData::SetDate(int which, CString date, int check, COleDateTime* fallback, COleDateTime* earliest,
                          COleDateTime* latest) {
    date = Checked(date, mydb_date);
    COleDateTime value = COleDateTime::GetCurrentTime();
    if (CheckDateTypeData(date, all_date_parts) == 1) value.ParseDateTime(date);
    return SetDate(which, value, check, fallback, earliest, latest);
}

int COneMailData::SetSpecialFlag(CString flag) {
    flag = Checked(flag, mydb_string);
    if (flag.GetLength() > special_flag_size) return bad_value;
    m_strSpecialFlag = flag;
    return set_ok;
}

int COneMailData::SetSpecialFlag(int position, CString character) {
    if (position < 0 || position >= special_flag_size) return bad_value;
    character = Checked(character, mydb_string);
    if (character.GetLength() != 1) return bad_character;
    if (position < m_strSpecialFlag.GetLength())
        m_strSpecialFlag.SetAt(position, character[0]);
    else
        m_strSpecialFlag += character;
    return set_ok;
}

char COneMailData::FlagAt(int position) const {
    return position < m_strSpecialFlag.GetLength() ? m_strSpecialFlag[position] : ' ';
}
