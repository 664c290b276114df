#include "tessaly/mailstore/mail_writer.h"

#include "environment/data_key.h"
#include "storage/construction_failure.h"
#include "storage/decimal.h"
#include "tessaly/environment/env_manager.h"

using enum storage::ErrorCode;

MailWriter::MailWriter(EnvManager* env, int termNum) {
    if (!SetTermNum(termNum)) storage::FailConstruction(error_, mail_body_terminal_count_set_failed);
    if (!SetEnvManager(env)) storage::FailConstruction(error_, mail_body_environment_set_failed);
}

int MailWriter::Fail(int code) {
    error_.SetErr(code);
    return failed;
}

int MailWriter::SetTermNum(int n) {
    if (term_num_ > 0 || n < 1) return failed;
    term_num_ = n;
    return done;
}

int MailWriter::SetEnvManager(EnvManager* env) {
    if (env_ || !env) return failed;
    env_ = env;
    return done;
}

CString MailWriter::MakeFileName(int id) const {
    CString const text = storage::Decimal(id);
    return env_->DataPath("MAIL\\" + text + "\\mail" + text + ".dat");
}

int MailWriter::FillUp() {
    XCStringArrayEx empty(element_count);
    while (GetRecordNumber() < term_num_)
        if (!InsertString(empty)) return Fail(mail_body_unexpected);
    return done;
}

int MailWriter::SetMailFromFile(int id, int useKey, char const* key) {
    if (id < new_mail) return Fail(mail_body_bad_mail_id_given);
    if (!env_) return Fail(mail_body_environment_not_set);
    if (term_num_ < 1) return Fail(mail_body_terminal_count_not_set);
    mail_id_ = id;
    is_new_ = id == new_mail;
    path_.Empty();
    SetElementNumber(element_count);
    if (is_new_) return FillUp();

    path_ = MakeFileName(id);
    environment::DataKey const used(*env_, useKey, key);
    int const result = used.IsKnown() ? LoadCSVFile(path_, used.Get()) : load_wrong_width;
    bool const nothing = result == load_missing || result == load_empty;
    if (!nothing && (result != load_ok || GetElementNumber() != element_count)) {
        SetElementNumber(element_count);
        path_.Empty();
        return Fail(mail_body_file_format);
    }
    if (nothing) SetElementNumber(element_count);
    return FillUp();
}

bool MailWriter::Exists(int element, TermType term) {
    if (element < 0 || element >= element_count)
        error_.SetErr(mail_body_bad_element_number);
    else if (term < 0 || term >= slot_count)
        error_.SetErr(mail_body_bad_terminal_type);
    else
        return true;
    return false;
}

int MailWriter::GetMailElementLength(int element, TermType term) {
    return Exists(element, term) ? GetStringElement(element, term).GetLength() : 0;
}

CString MailWriter::GetMailElement(int element, TermType term) {
    return Exists(element, term) ? GetStringElement(element, term) : CString();
}

int MailWriter::SetMailRecordToMemory(char const* subject, char const* body, TermType term) {
    XCStringArrayEx record(element_count);
    record[element_subject] = subject;
    record[element_body] = body;
    if (record[element_subject].GetLength() > subject_limit || record[element_body].GetLength() > body_limit)
        error_.SetErr(mail_body_bad_data);
    return CorrectString(term, record) ? set_ok : not_set;
}

int MailWriter::SetNewMailID(int id) {
    if (!is_new_ || mail_id_ != new_mail) return Fail(mail_body_bad_mail_id_set);
    if (id < 0) return Fail(mail_body_bad_mail_id_given);
    mail_id_ = id;
    path_ = MakeFileName(id);
    return done;
}

int MailWriter::WriteMailAllTypeToFile() {
    if (mail_id_ == new_mail) return Fail(mail_body_bad_mail_id_set);
    if (!env_) return Fail(mail_body_file_write_failed);
    environment::DataKey const key(*env_);
    if (!key.IsKnown() || !SaveCSVFile(path_, 0, key.Get())) return Fail(mail_body_file_write_failed);
    return done;
}

int MailWriter::WriteFromMemoryToFileAppointFileName(CString path, char const* key) {
    return SaveCSVFileCopy(path, key) ? done : Fail(mail_body_file_write_failed);
}
