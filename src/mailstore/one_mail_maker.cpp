#include "tessaly/mailstore/one_mail_maker.h"

#include <cstdio>
#include <string_view>

#include "platform/file.h"
#include "storage/construction_failure.h"
#include "storage/decimal.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/mailstore/mail_list_viewer.h"
#include "tessaly/mailstore/one_mail_data.h"
#include "tessaly/text/check_directory.h"
#include "tessaly/text/date_data.h"
#include "tessaly/text/dates.h"
#include "tessaly/text/directories.h"

using enum storage::ErrorCode;
using enum text::CheckDirectoryResult;

namespace {

constexpr int per_terminal = AttachWriter::version_terminals;
constexpr int any_other_format = -1;
constexpr char text_kind = 'N';
constexpr char html_for_pc = 'Y';

// The terminals whose attachments a mail of each kind has.
struct KindTerminals {
    char kind;
    std::string_view terminals;  // values of TermType
};
constexpr KindTerminals kinds[] = {
    {'N', std::string_view("\0\1\2\3\4", 5)}, {'Y', std::string_view("\0", 1)}, {'M', "\1\2\3"}};

std::string_view TerminalsOf(char kind) {
    for (KindTerminals const& known : kinds)
        if (known.kind == kind) return known.terminals;
    return {};
}

// Six numbers that make no date are an invalid date: a mail stays readable whatever its reserve date.
bool ReadDate(CString const& text, COleDateTime& date) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (std::sscanf(text, "%4d/%2d/%2d %2d:%2d:%2d", &year, &month, &day, &hour, &minute, &second) !=
        text::date_data_parts)
        return false;
    date.SetDateTime(year, month, day, hour, minute, second);
    return true;
}

bool HoldsAnother(CMailListViewer const& mails, EnvManager const* env) {
    return mails.GetEnvManager() && mails.GetEnvManager() != env;
}

}  // namespace

OneMailMaker::OneMailMaker() { texts_.SetTermNum(OneMail::slot_count); }

OneMailMaker::OneMailMaker(EnvManager* env, CMailListViewer* mails, int mailID) : OneMailMaker() {
    if (!SetEnvManager(env)) storage::FailConstruction(error_, mail_make_environment_set_failed);
    if (!SetMailListViewer(mails)) storage::FailConstruction(error_, mail_make_mail_list_set_failed);
    if (SetMailID(mailID) != ok) storage::FailConstruction(error_);
}

int OneMailMaker::Fail(int code, Result result) {
    error_.SetErr(code);
    return result;
}

bool OneMailMaker::HandOver(CMailListViewer& mails) {
    return mails.GetEnvManager() == env_ || mails.SetEnvManager(env_);
}

int OneMailMaker::SetEnvManager(EnvManager* env) {
    if (env_ || !env || (mails_ && HoldsAnother(*mails_, env))) return 0;
    env_ = env;
    bool const handed_on = (!mails_ || HandOver(*mails_)) && texts_.SetEnvManager(env) &&
                           attachments_.SetEnvManager(env) &&
                           attachments_.SetVersion(AttachWriter::version_one_list);
    work_folder_ = attachments_.GetFolderPathForAttachFileTemporary();
    return handed_on && !work_folder_.IsEmpty() ? 1 : 0;
}

int OneMailMaker::SetMailListViewer(CMailListViewer* mails) {
    if (mails_ || !mails || (env_ && HoldsAnother(*mails, env_))) return 0;
    mails_ = mails;
    return !env_ || HandOver(*mails) ? 1 : 0;
}

int OneMailMaker::SetMailID(int id) {
    bool const no_row_needed = id == new_mail || id == new_mail_too || id == no_mail_id;
    if (!no_row_needed && (!mails_ || mails_->FindMailData(id) != CMailListViewer::mail_found))
        return Fail(mail_make_bad_mail_id, unknown_mail);
    mail_id_ = id;
    return ok;
}

int OneMailMaker::CheckBinding() {
    if (!env_) return Fail(mail_make_environment_not_set, no_environment);
    if (!mails_) return Fail(mail_make_mail_list_not_set, no_mail_list);
    return mail_id_ == no_mail_id ? no_mail : ok;
}

void OneMailMaker::InitOneMail(OneMail& mail) {
    mail = {};
    mail.m_dtReserve = COleDateTime::GetCurrentTime();
    AdjustTime(mail.m_dtReserve);
}

int OneMailMaker::GetOneMailData(OneMail& out, char const& kind, int const& format) {
    if (int const result = CheckBinding(); result != ok) return result;
    InitOneMail(out);
    if (mail_id_ == new_mail) return ok;
    if (!texts_.SetMailFromFile(mail_id_, 0, nullptr)) return Fail(mail_make_unexpected, failed);
    for (int slot = 0; slot < OneMail::slot_count; ++slot) {
        out.m_strSubject[slot] =
            texts_.GetMailElement(MailWriter::element_subject, static_cast<TermType>(slot));
        out.m_strBody[slot] = texts_.GetMailElement(MailWriter::element_body, static_cast<TermType>(slot));
    }
    if (int const result = ReadListColumns(out); result != ok) return result;
    return format == per_terminal ? _ReadAttachFileAndList_Ver5(kind, out.m_aAttach)
                                  : _ReadAttachFileAndList_Ver4(out.m_aAttach);
}

int OneMailMaker::ReadListColumns(OneMail& out) {
    auto const read = [&](CMailListViewer::Column column, CString& cell) {
        return mails_->GetMailDataPinPoint(mail_id_, column, cell) == CMailListViewer::ok;
    };
    CString reserve;
    bool const all = read(CMailListViewer::column_address_name, out.m_strAddressName) &&
                     read(CMailListViewer::column_honorific, out.m_strHonorific) &&
                     read(CMailListViewer::column_reserve_date, reserve) &&
                     ReadDate(reserve, out.m_dtReserve);
    return all ? ok : Fail(mail_make_unexpected, failed);
}

int OneMailMaker::SetOneMailData(OneMail& mail, char kind, int format) {
    if (int const result = CheckBinding(); result != ok) return result;
    COneMailData row;
    if (int const result = FillRow(mail, kind, row); result != ok) return result;
    CString const folder = env_->DataPath("MAIL\\" + storage::Decimal(mail_id_));
    if (CheckDirectory(folder) != directory_exists && !platform::MakeDirectory(folder))
        return Fail(mail_make_directory_failed, directory_failed);
    if (int const result = StoreRow(row); result != ok) return result;
    if (int const result = StoreTexts(mail); result != ok) return result;
    return format == per_terminal ? _WriteAttachFileAndList_Ver5(kind, mail.m_aAttach)
                                  : _WriteAttachFileAndList_Ver4(mail.m_aAttach);
}

int OneMailMaker::SetOneMailData(CString addressName, COleDateTime reserve, CArray<CString, CString> subjects,
                                 CArray<CString, CString> bodies, char, int) {
    if (subjects.GetSize() != OneMail::slot_count || bodies.GetSize() != OneMail::slot_count)
        return Fail(mail_make_unexpected, failed);
    OneMail mail;
    mail.m_strAddressName = addressName;
    mail.m_dtReserve = reserve;
    for (int slot = 0; slot < OneMail::slot_count; ++slot) {
        mail.m_strSubject[slot] = subjects[slot];
        mail.m_strBody[slot] = bodies[slot];
    }
    return SetOneMailData(mail, text_kind, any_other_format);
}

// The row of the mail; a new mail gets its ID here.
int OneMailMaker::FillRow(OneMail const& mail, char kind, COneMailData& row) {
    COleDateTime const now = COleDateTime::GetCurrentTime();
    auto const set_date = [&](COneMailData::DateField field, COleDateTime const& date) {
        row.SetDate(field, date, 0, nullptr, nullptr, nullptr);
    };
    if (mail_id_ >= 0) {
        if (mails_->GetMailData(mail_id_, row) != CMailListViewer::ok)
            return Fail(mail_make_bad_mail_id, failed);
        if (row.GetSpecialFlag().GetLength() == 1) row.SetSpecialFlag(row.GetSpecialFlag() + CString(kind));
    } else {
        int const id = mails_->GetNewMailID();
        if (id < 0) return Fail(mail_make_new_id_failed, failed);
        mail_id_ = id;
        row.SetCheckCharacterCodeFlag(1);
        row.SetMailID(id);
        set_date(COneMailData::date_entry, now);
        set_date(COneMailData::date_set_address, now);
        row.SetSpecialFlag("N" + CString(kind));
    }
    row.SetMailTitle(mail.m_strSubject[kind == text_kind || kind == html_for_pc ? pc : nd]);
    row.SetAddressName(mail.m_strAddressName);
    row.SetHonorific(mail.m_strHonorific);
    row.SetStatus("D", 0);
    set_date(COneMailData::date_renewal, now);
    set_date(COneMailData::date_reserve, mail.m_dtReserve);
    return ok;
}

int OneMailMaker::StoreRow(COneMailData& row) {
    bool const stored =
        mails_->SetMailData(row) == CMailListViewer::ok && mails_->WriteMailList(0) == CMailListViewer::ok;
    return stored ? ok : Fail(mail_make_list_write_failed, list_not_written);
}

int OneMailMaker::StoreTexts(OneMail const& mail) {
    texts_.SetMailFromFile(MailWriter::new_mail, 0, nullptr);
    texts_.SetNewMailID(mail_id_);
    for (int slot = 0; slot < OneMail::slot_count; ++slot)
        if (texts_.SetMailRecordToMemory(mail.m_strSubject[slot], mail.m_strBody[slot],
                                         static_cast<TermType>(slot)) == MailWriter::not_set)
            return body_not_written;
    return texts_.WriteMailAllTypeToFile() ? ok : Fail(mail_make_body_write_failed, body_not_written);
}

void OneMailMaker::UseFormat4() {
    attachments_.SetVersion(AttachWriter::version_one_list);
    attachments_.SetMailID(mail_id_);
}

// All terminals use one object, so that it does not empty the work folder of the previous one.
void OneMailMaker::UseFormat5() {
    attachments_.SetVersion(AttachWriter::version_terminals);
    attachments_.SetMailID(mail_id_);
    attachments_.SetFlagForDeleteFileInTemp(0);
}

int OneMailMaker::WriteAttachments(Attachments const& list) {
    attachments_.InitAttachListAndData();
    for (AttachData const& attachment : list) {
        if (!attachments_.EncodeTempDataToDataDir(attachment.m_strFileName, 0))
            return Fail(mail_make_attachment_write_failed, attachment_not_written);
        if (attachments_.SetAttachListRecordToMemory(attachment.m_strFileName, attachment.m_strFileInfo) ==
            AttachWriter::not_set)
            return Fail(mail_make_attachment_list_write_failed, attach_list_not_written);
    }
    return attachments_.SaveAttachList()
               ? ok
               : Fail(mail_make_attachment_list_write_failed, attach_list_not_written);
}

int OneMailMaker::ReadAttachments(Attachments& list) {
    if (!attachments_.LoadAttachList(nullptr)) return Fail(mail_make_attachment_list_read_failed, failed);
    for (int record = 0; record < attachments_.GetFileNum(); ++record) {
        CString const name = attachments_.GetAttachListElement(record, AttachWriter::element_name);
        if (attachments_.DecodeAttachDataToWorkDir(name))
            list.Add({name, attachments_.GetAttachListElement(record, AttachWriter::element_info)});
    }
    return list.GetSize() == attachments_.GetFileNum()
               ? ok
               : Fail(mail_make_attachment_read_failed, attachment_not_read);
}

int OneMailMaker::_WriteAttachFileAndList_Ver4(Attachments const* attach) {
    UseFormat4();
    return WriteAttachments(attach[0]);
}

// The list is loaded first so that the files of the mail's earlier attachments are deleted.
int OneMailMaker::_WriteAttachFileAndList_Ver5(char kind, Attachments const* attach) {
    UseFormat5();
    for (char const terminal : TerminalsOf(kind)) {
        attachments_.SetTermType(static_cast<TermType>(terminal));
        attachments_.LoadAttachList(nullptr);
        if (int const result = WriteAttachments(attach[static_cast<int>(terminal)]); result != ok)
            return result;
    }
    return ok;
}

int OneMailMaker::_ReadAttachFileAndList_Ver4(Attachments* attach) {
    ClearDirectoryCompel(work_folder_);
    UseFormat4();
    return ReadAttachments(attach[0]);
}

int OneMailMaker::_ReadAttachFileAndList_Ver5(char kind, Attachments* attach) {
    UseFormat5();
    for (char const terminal : TerminalsOf(kind)) {
        attachments_.SetTermType(static_cast<TermType>(terminal));
        if (int const result = ReadAttachments(attach[static_cast<int>(terminal)]); result != ok)
            return result;
    }
    return ok;
}
