#include "engine/mails/stored_mails.h"

#include <filesystem>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/environment/mail_lock.h"
#include "engine/mails/eml_file.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/mail_content.h"
#include "engine/targets/target.h"

namespace engine {
namespace {

std::string WithLineFeeds(CString text) {
    text.Replace("\r\n", "\n");
    return Out(text);
}

void TakeParts(MailText& text, CMimeAnalyze const& parts) {
    text.text = WithLineFeeds(TextIn(parts));
    if (!parts.HtmlPartExist()) return;
    text.html_bytes = static_cast<std::size_t>(HtmlIn(parts).GetLength());
    for (MimeFormatStruct const& picture : parts.GetConstRefOfMimeHtmlAttach()) {
        CString name;
        picture.GetNameParamFromContentType(name);
        text.pictures.push_back(Out(name));
    }
}

MailText TextFor(OneMail const& mail, int terminal, char kind) {
    MailText text;
    text.terminal = static_cast<TermType>(terminal);
    for (AttachData const& attachment : mail.m_aAttach[terminal])
        text.attachments.push_back({Out(attachment.m_strFileName), Out(attachment.m_strFileInfo)});
    CString const& body = mail.m_strBody[terminal];
    text.has_body = !body.IsEmpty();
    if (!text.has_body) return text;
    text.subject = Out(mail.m_strSubject[terminal]);
    if (HoldsMime(kind, terminal))
        TakeParts(text, PartsOf(body));
    else
        text.text = WithLineFeeds(body);
    return text;
}

int Store(Session& session, std::optional<int> mail, MailChanges const& changes) {
    char const present = mail ? KindOf(session, *mail) : kind_text;
    return StoreMail(session, mail, changes.KindFor(present), changes.Added(),
                     [&](OneMail& stored) { changes.Make(stored, present); });
}

void RequireDeleted(Session& session, int mail) {
    RequireMail(session, mail, Deleted::allow);
    if (!IsDeleted(session, mail))
        throw Failure(Failure::not_deleted, "削除されていないメールです: " + std::to_string(mail));
}

void ChangeEach(Session& session, std::vector<int> const& mails, int (CMailListViewer::*change)(int)) {
    for (int const mail : mails)
        if ((session.Mails().*change)(mail) < 0)
            throw Failure(Failure::operation_failed, "変えられませんでした: " + std::to_string(mail));
    session.SaveMails();
}

}  // namespace

std::vector<MailRow> ListMails(Session& session, MailView view) {
    CArray<int, int> ids;
    session.Mails().CountMailByViewType(
        view == MailView::deleted ? CMailListViewer::view_deleted : CMailListViewer::view_not_deleted, &ids);
    std::vector<MailRow> rows;
    for (int const id : ids) {
        auto const cell = [&](int column) {
            CString text;
            session.Mails().GetMailDataPinPoint(id, column, text);
            return text;
        };
        rows.push_back(
            {id, Out(cell(CMailListViewer::column_title)), Out(cell(CMailListViewer::column_address_name)),
             StoredMailStatus(cell(CMailListViewer::column_status)), Out(cell(CMailListViewer::column_sent)),
             Out(cell(CMailListViewer::column_errors)), Out(cell(CMailListViewer::column_opened)),
             Out(cell(CMailListViewer::column_renewal_date))});
    }
    return rows;
}

StoredMail DescribeMail(Session& session, int mail) {
    RequireMail(session, mail, Deleted::allow);
    OneMail const stored = ReadMail(session, mail);
    COneMailData row;
    CString title;
    session.Mails().GetMailData(mail, row);
    session.Mails().GetMailDataPinPoint(mail, CMailListViewer::column_title, title);
    StoredMail described{mail,
                         Out(title),
                         Out(stored.m_strAddressName),
                         Out(stored.m_strHonorific),
                         StoredMailStatus(row.GetStatus()),
                         RecipientCount(session, mail),
                         {}};
    char const kind = KindOf(session, mail);
    for (int terminal = 0; terminal < terminal_count; ++terminal) {
        MailText const text = TextFor(stored, terminal, kind);
        if (text.has_body || !text.attachments.empty()) described.texts.push_back(text);
    }
    return described;
}

int CreateMail(Access const& access, std::string const& env_file, MailArguments const& arguments) {
    MailChanges const changes(FrontOf(access), arguments);
    Session session(access, env_file, Session::For::changing);
    return Store(session, {}, changes);
}

std::string ChangeMail(Access const& access, std::string const& env_file, int mail,
                       MailArguments const& arguments) {
    if (arguments.ChangeNothing())
        throw Failure(Failure::invalid_request, "変えるものを指定してください (例: --draft FILE)。");
    if (arguments.clear_text &&
        (!arguments.draft.empty() || !arguments.html.empty() || TerminalNamed(arguments.terminal) == pc))
        throw Failure(Failure::invalid_request,
                      "--clear-text は、pc のほかの --terminal の文面を消すためのものです。");
    MailChanges const changes(FrontOf(access), arguments);
    Session session(access, env_file, Session::For::changing);
    RequireMail(session, mail);
    Store(session, mail, changes);
    return NameOfMail(session, mail);
}

int ImportMail(Access const& access, std::string const& env_file, std::string const& eml_file, bool anyway) {
    UnpackedEml const unpacked(eml_file);
    for (std::string const& notice : unpacked.Notices()) FrontOf(access).Notice(notice);
    MailArguments arguments = unpacked.Texts();
    arguments.force = anyway;
    return CreateMail(access, env_file, arguments);
}

void ExportMail(Access const& access, std::string const& env_file, int mail, std::string const& eml_file,
                bool overwrite) {
    if (std::filesystem::exists(eml_file) && !overwrite)
        throw Failure(Failure::file_exists,
                      "ファイルがもうあります: " + eml_file + "\n上書きするなら --force をつけてください。");
    Session session(access, env_file, Session::For::reading);
    RequireMail(session, mail, Deleted::allow);
    CString const eml = EmlOf(ContentOf(session, mail).versions[pc]);
    bool const written = ReplaceFile(eml_file, eml.View());
    if (!written) throw Failure(Failure::not_written, "書けませんでした: " + eml_file);
}

void DeleteMails(Session& session, std::vector<int> const& mails) {
    for (int const mail : mails) RequireMail(session, mail);
    std::vector<MailLock> const locks = LockToChange(session, mails);
    ChangeEach(session, mails, &CMailListViewer::DeleteMailData);
}

void RestoreMails(Session& session, std::vector<int> const& mails) {
    for (int const mail : mails) RequireDeleted(session, mail);
    std::vector<MailLock> const locks = LockToChange(session, mails);
    ChangeEach(session, mails, &CMailListViewer::UnDeleteMailData);
}

}  // namespace engine
