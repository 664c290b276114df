#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <unordered_set>

#include "mailstore/mail_id.h"
#include "mailstore/mail_list_lock.h"
#include "platform/file.h"
#include "storage/decimal.h"
#include "tessaly/delivery/history_list_viewer.h"
#include "tessaly/environment/env_manager.h"
#include "tessaly/mailstore/mail_list_viewer.h"
#include "tessaly/mailstore/mail_writer.h"
#include "tessaly/mailstore/term_type.h"
#include "tessaly/platform/dialog.h"
#include "tessaly/text/date_data.h"
#include "tessaly/text/dates.h"

using mailstore::MailListLock;

namespace {

// The files of a mail that was stored whole.
constexpr char const* parts_of_a_mail[] = {"mail", "meli", "merd"};
constexpr char const* html_mark = "Content-Type: multipart/alternative";

bool IsMailFolderName(std::string_view name) {
    int id = 0;
    return mailstore::ReadsAsID(name, id) && id >= 0;
}

CString PathOf(EnvManager const& env, char const* part, CString const& id) {
    return env.DataPath("MAIL\\" + id + "\\" + part + id + ".dat");
}

bool IsHtml(MailWriter& texts, TermType terminal) {
    return texts.GetMailElement(MailWriter::element_body, terminal).Find(html_mark) >= 0;
}

// The special flag of a mail by its texts.
char const* FlagOf(MailWriter& texts) {
    if (IsHtml(texts, pc)) return "NY";
    for (TermType const terminal : {nd, at, sb, wl})
        if (IsHtml(texts, terminal)) return "NM";
    return "NN";
}

COleDateTime ChangeOf(CString const& file) {
    char text[text::date_data_size];
    return GetFileStat_LastRenewalDate(file, text) ? Convert_DateData2COleDateTime(text)
                                                   : COleDateTime::GetCurrentTime();
}

}  // namespace

int CMailListViewer::GetMailFolderNameInThisEnv(CArray<CString, CString>& names) {
    names.RemoveAll();
    CFileFind folders;
    bool more = folders.FindFile(env_->DataPath("MAIL\\*"));
    while (more) {
        more = folders.FindNextFile();
        CString const name = folders.GetFileName();
        if (IsMailFolderName(name.View()) && folders.IsDirectory()) names.Add(name);
    }
    return names.GetSize();
}

int CMailListViewer::CheckMailFolderInThisEnv(CArray<CString, CString> const& names,
                                              CArray<CString, CString>& complete) {
    complete.RemoveAll();
    for (CString const& id : names) {
        bool const whole =
            std::all_of(std::begin(parts_of_a_mail), std::end(parts_of_a_mail),
                        [&](char const* part) { return platform::IsFile(PathOf(*env_, part, id)); });
        if (whole) complete.Add(id);
    }
    return complete.GetSize() == names.GetSize() ? 1 : 0;
}

void CMailListViewer::BringBack(int id) {
    MailWriter texts;
    texts.SetTermNum(MailWriter::slot_count);
    texts.SetEnvManager(env_);
    texts.SetMailFromFile(id, 0, nullptr);
    HistoryListViewer history;
    history.SetEnvManager(env_);
    history.SetMailListViewer(this);
    history.SetMailID(id, 1);
    history.GetHDataFromFileToMemory(0, nullptr);
    int sent = 0, errors = 0, opened = 0, total = 0;
    history.GetNumOneMail(sent, errors, opened, total);

    COleDateTime const now = COleDateTime::GetCurrentTime();
    COleDateTime reserve = now;
    COneMailData mail;
    mail.SetCheckCharacterCodeFlag(1);
    mail.SetMailID(id);
    mail.SetMailTitle(texts.GetMailElement(MailWriter::element_subject, pc));
    mail.SetAddressName("（修復のため不明）");
    mail.SetStatus("D", 0);
    mail.SetDate(COneMailData::date_entry, now, 0, nullptr, nullptr, nullptr);
    mail.SetDate(COneMailData::date_renewal, now, 0, nullptr, nullptr, nullptr);
    mail.SetDate(COneMailData::date_reserve, AdjustTime(reserve), 0, nullptr, nullptr, nullptr);
    mail.SetDate(COneMailData::date_set_address, ChangeOf(PathOf(*env_, "meli", storage::Decimal(id))), 0,
                 nullptr, nullptr, nullptr);
    mail.SetSentNumber(sent);
    mail.SetErrorNumber(errors);
    mail.SetOpenNumber(opened);
    mail.SetSpecialFlag(FlagOf(texts));
    SetMailData(mail);
}

void CMailListViewer::RepairMailList() {
    MailListLock const lock;
    CArray<CString, CString> names, complete;
    if (GetMailFolderNameInThisEnv(names) == 0) return;
    CheckMailFolderInThisEnv(names, complete);
    CArray<int, int> listed;
    CountMailByMailStatus(0, &listed, 1);
    std::unordered_set<int> const known(listed.begin(), listed.end());
    CString note;
    for (CString const& name : complete) {
        int const id = std::atoi(name);
        if (known.contains(id)) continue;
        BringBack(id);
        note += (note.IsEmpty() ? "メールID: " : ", ") + name;
    }
    if (note.IsEmpty()) return;
    static_cast<void>(WriteMailListCompel());  // failing, the next start brings them back again
    note +=
        " を復旧しました\r\n\r\nなお、データの不足により、下記の項目は復旧できません\r\n"
        "[宛先名称] [敬称] [状態] [送信日時] [作成日時] [更新日時]\r\n"
        "これらの項目は、確認の上、必要があれば手動で修正をしてください";
    ShowMessageBox(note, "メール一覧にエラーがありました", MB_OK | MB_ICONINFORMATION);
}
