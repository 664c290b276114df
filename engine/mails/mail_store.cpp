#include "engine/mails/mail_store.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/lower_case.h"
#include "engine/base/whole_file.h"
#include "engine/environment/mail_lock.h"
#include "engine/environment/safe_change.h"
#include "engine/mails/states.h"
#include "engine/targets/target.h"

namespace fs = std::filesystem;

namespace engine {
namespace {

constexpr int keep_work_folder = 0;
constexpr int attachments_per_terminal = AttachWriter::version_terminals;  // form of the attachment lists

struct MediaType {
    std::string_view extension;
    char const* type;
};
constexpr MediaType media_types[] = {
    {".pdf", "application/pdf"},
    {".zip", "application/zip"},
    {".jpg", "image/jpeg"},
    {".jpeg", "image/jpeg"},
    {".png", "image/png"},
    {".gif", "image/gif"},
    {".webp", "image/webp"},
    {".bmp", "image/bmp"},
    {".svg", "image/svg+xml"},
    {".doc", "application/msword"},
    {".xls", "application/vnd.ms-excel"},
    {".ppt", "application/vnd.ms-powerpoint"},
    {".docx", "application/vnd.openxmlformats-officedocument.wordprocessingml.document"},
    {".xlsx", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet"},
    {".pptx", "application/vnd.openxmlformats-officedocument.presentationml.presentation"},
};

// The work folder of the library, through which attachments go in and out; empty before and after.
class WorkFolder {
  public:
    explicit WorkFolder(Session& session) : path_(session.DataDirectory() + "/MAIL/ATEMP") { Empty(); }
    ~WorkFolder() { Empty(); }
    WorkFolder(WorkFolder const&) = delete;
    WorkFolder& operator=(WorkFolder const&) = delete;
    void Take(NewAttachment const& added) const {
        fs::path const folder = path_ / NameOf(added.terminal);
        std::string const content = ReadWholeFile(added.file, "添付ファイル"),
                          name = (folder / Out(added.entry.m_strFileName)).string();
        MakeFolder(folder.string());
        if (!ReplaceFile(name, content))
            throw Failure(Failure::not_written, "添付ファイルを写せません: " + name);
    }

  private:
    void Empty() const { RemoveWork(path_.string()); }
    fs::path path_;
};

[[noreturn]] void NotStored(OneMailMaker& maker) {
    throw Failure(Failure::not_written,
                  "メールを保存できませんでした。前の状態のままです。\n" + TextOf(maker.GetErrMsg()));
}

// The tables of a mail. Each throws Failure for one that cannot be read whole.
void LoadTexts(Session& session, int id, MailWriter& texts) {
    texts.SetTermNum(OneMail::slot_count);
    texts.SetEnvManager(&session.Environment());
    TableReading reading(session, MailFile(id, "mail"));
    reading.End(texts.SetMailFromFile(id, EnvManager::use_own_key, nullptr) != 0, texts);
}

void LoadAttachmentList(Session& session, int id, int terminal, AttachWriter& attachments) {
    TableReading reading(session, MailFolder(id) + "/ATTACH/at_" + NameOf(static_cast<TermType>(terminal)) +
                                      std::to_string(id) + ".dat");
    reading.End(attachments.LoadAttachList(nullptr) != 0, attachments);
}

// What is stored is read by ReadMail first, since the maker does not tell a table that is not whole.
OneMail Opened(Session& session, OneMailMaker& maker, char kind) {
    if (maker.GetMailID() != OneMailMaker::new_mail) static_cast<void>(ReadMail(session, maker.GetMailID()));
    OneMail mail;
    if (maker.GetOneMailData(mail, kind, attachments_per_terminal) < 0)
        throw Failure(Failure::operation_failed, "メールを開けません。\n" + TextOf(maker.GetErrMsg()));
    return mail;
}

AttachWriter& Bind(AttachWriter& attachments, Session& session, int id) {
    attachments.SetEnvManager(&session.Environment());
    attachments.SetVersion(attachments_per_terminal);
    attachments.SetMailID(id);
    attachments.SetFlagForDeleteFileInTemp(keep_work_folder);
    return attachments;
}

void RequirePlaces(OneMail const& mail, char kind) {
    for (int slot = 0; slot < terminal_count; ++slot)
        if (!HoldsAttachments(kind, slot) && !mail.m_aAttach[slot].IsEmpty())
            throw Failure(
                Failure::unsuitable_mail,
                std::string(kind == kind_html ? "PCのHTMLメールに添付できるのは pc だけです"
                                              : "携帯のHTMLメールに添付できるのは nd、at、sb だけです") +
                    "。--detach で外してください: " + NameOf(static_cast<TermType>(slot)));
}

// The files behind the attachments of a mail, below the data directory.
std::set<std::string> AttachmentFiles(int id, OneMail const& mail) {
    std::set<std::string> files;
    for (int slot = 0; slot < terminal_count; ++slot)
        for (AttachData const& entry : mail.m_aAttach[slot])
            files.insert(MailFolder(id) + "/ATTACH/" + NameOf(static_cast<TermType>(slot)) + "/" +
                         Out(entry.m_strFileName) + ".base64");
    return files;
}

// The library passes over a file that it cannot delete.
void RequireRemoved(Session& session, std::set<std::string> const& before,
                    std::set<std::string> const& after) {
    for (std::string const& file : before)
        if (!after.contains(file) && fs::exists(session.DataDirectory() + "/" + file))
            throw Failure(Failure::not_written,
                          "外した添付ファイルを消せません: " + session.DataDirectory() + "/" + file);
}

// The ID that the library gives to the next new mail.
int NextMailID(Session& session) {
    Sequencer sequence;
    int id = 0;
    if (!sequence.SetEnvManager(&session.Environment()) || !sequence.SetSeqType(environment::seq_mail) ||
        !sequence.CurrentValue(&id))
        throw Failure(Failure::damaged_file,
                      "メールの番号を決められません: " + session.DataDirectory() + "/MAIL/mailseq.dat");
    while (session.Mails().FindMailData(id) == CMailListViewer::mail_found) ++id;
    return id;
}

void SetKind(Session& session, int id, char kind) {
    COneMailData row;
    if (KindOf(session, id) == kind || session.Mails().GetMailData(id, row) < 0) return;
    char const address_flag = row.GetSpecialAddressFlag();
    CString flag(address_flag == ' ' ? 'N' : address_flag);
    flag += kind;
    if (session.Mails().SetMailDataPinPoint(id, CMailListViewer::column_special_flag, flag) < 0)
        throw Failure(Failure::operation_failed, "メールの種類を変えられませんでした: " + std::to_string(id));
}

void Warn(FrontEnd& front, OneMail const& mail, char kind) {
    for (int slot = 0; slot < terminal_count; ++slot) {
        std::string const terminal = NameOf(static_cast<TermType>(slot));
        if (mail.m_strSubject[slot].GetLength() > MailWriter::subject_limit)
            front.Notice("件名が長めです (" + terminal +
                         ")。相手のメールソフトで途中までしか見えないかもしれません。");
        if (!HoldsMime(kind, slot) && mail.m_strBody[slot].GetLength() > MailWriter::body_limit)
            front.Notice("本文が長めです (" + terminal +
                         "): " + std::to_string(mail.m_strBody[slot].GetLength()) + "バイト");
    }
}

}  // namespace

// Text files have no entry, since their encoding is unknown.
char const* MediaTypeOf(std::string const& file) {
    std::string const extension = LowerCase(fs::path(file).extension().string());
    for (MediaType const& known : media_types)
        if (known.extension == extension) return known.type;
    return "application/octet-stream";
}

std::string ExtensionFor(std::string_view media_type) {
    constexpr MediaType others[] = {
        {".txt", "text/plain"},    {".html", "text/html"},           {".csv", "text/csv"},
        {".ics", "text/calendar"}, {".eml", "message/rfc822"},       {".txt", "message/delivery-status"},
        {".rtf", "text/rtf"},      {".asc", "application/pgp-keys"}, {".jpeg", "image/pjpeg"},
        {".png", "image/x-png"},
    };
    for (MediaType const& known : media_types)
        if (media_type == known.type) return std::string(known.extension);
    for (MediaType const& known : others)
        if (media_type == known.type) return std::string(known.extension);
    return "";
}

char KindOf(Session& session, int id) {
    COneMailData row;
    if (session.Mails().GetMailData(id, row) < 0) return kind_text;
    char const kind = row.GetTextOrHtmlMailFlag();
    return kind == ' ' ? kind_text : kind;
}

bool HoldsMime(char kind, int terminal) {
    return kind == kind_html          ? terminal == pc
           : kind == kind_mobile_html ? terminal == nd || terminal == at || terminal == sb
                                      : false;
}

bool HoldsAttachments(char kind, int terminal) { return kind == kind_text || HoldsMime(kind, terminal); }

TermType TerminalNamed(std::string_view name) {
    auto const found = std::find(terminal_names.begin(), terminal_names.end(), name);
    if (found == terminal_names.end())
        throw Failure(Failure::invalid_request,
                      "--terminal は pc、nd、at、sb、wl のどれかです: " + std::string(name));
    return static_cast<TermType>(found - terminal_names.begin());
}

OneMail ReadMail(Session& session, int id) {
    OneMail mail;
    COneMailData row;
    MailWriter texts;
    if (session.Mails().GetMailData(id, row) < 0)
        throw Failure(Failure::operation_failed, "メールを読めません: " + std::to_string(id));
    LoadTexts(session, id, texts);
    mail.m_strAddressName = row.GetAddressName();
    mail.m_strHonorific = row.GetHonorific();
    mail.m_dtReserve = row.GetReserveDate();
    AttachWriter attachments;
    Bind(attachments, session, id);
    for (int slot = 0; slot < OneMail::slot_count; ++slot) {
        mail.m_strSubject[slot] =
            texts.GetMailElement(MailWriter::element_subject, static_cast<TermType>(slot));
        mail.m_strBody[slot] = texts.GetMailElement(MailWriter::element_body, static_cast<TermType>(slot));
        if (!attachments.SetTermType(static_cast<TermType>(slot))) continue;
        LoadAttachmentList(session, id, slot, attachments);
        for (int i = 0; i < attachments.GetFileNum(); ++i)
            mail.m_aAttach[slot].Add({attachments.GetAttachListElement(i, AttachWriter::element_name),
                                      attachments.GetAttachListElement(i, AttachWriter::element_info)});
    }
    return mail;
}

CString AttachmentText(Session& session, int id, TermType terminal, CString const& name) {
    AttachWriter attachments;
    Bind(attachments, session, id).SetTermType(terminal);
    CString text;
    if (!attachments.GetAttachDataString(name, text))
        throw Failure(Failure::damaged_file, "添付ファイルを読めません: " + Out(name));
    return text;
}

NewAttachment AttachmentOf(TermType terminal, std::string const& file) {
    std::string const name = fs::path(file).filename().string();
    std::error_code error;
    if (!fs::is_regular_file(file, error))
        throw Failure(Failure::file_not_found, "添付するファイルがありません: " + file);
    if (fs::file_size(file, error) > largest_attachment || error) {
        CString text;
        CErrMsg::GetErrMsgFromDefined(storage::attach_file_too_large, text);
        text.Replace("\r\n", "\n");
        throw Failure(Failure::unsuitable_file, file + ": " + Out(text));
    }
    bool const has_control =
        std::any_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; });
    if (has_control || name.find_first_of(not_for_names) != name.npos)
        throw Failure(Failure::unsuitable_file, "添付するファイルの名前に使えない文字 (" +
                                                    std::string(not_for_names) +
                                                    "、改行など) があります: " + name);
    return {terminal, {Into(name, "添付するファイルの名前"), MediaTypeOf(file)}, file};
}

int StoreMail(Session& session, std::optional<int> id, char kind, std::vector<NewAttachment> const& added,
              std::function<void(OneMail&)> const& change) {
    std::optional<MailLock> lock;
    if (id) lock.emplace(session, *id, MailLock::For::changing);
    WorkFolder const work(session);
    OneMailMaker maker(&session.Environment(), &session.Mails(), id.value_or(OneMailMaker::new_mail));
    OneMail mail = Opened(session, maker, id ? KindOf(session, *id) : kind);
    std::set<std::string> const before = id ? AttachmentFiles(*id, mail) : std::set<std::string>();
    change(mail);
    RequirePlaces(mail, kind);
    Warn(session.Front(), mail, kind);
    for (NewAttachment const& attachment : added) work.Take(attachment);
    SafeChange whole(
        session.DataDirectory(),
        id ? std::vector<std::string>{mail_list_file, MailFile(*id, "mail"), MailFolder(*id) + "/ATTACH"}
           : std::vector<std::string>{mail_list_file, MailFolder(NextMailID(session))});
    if (id) SetKind(session, *id, kind);
    if (maker.SetOneMailData(mail, kind, attachments_per_terminal) < 0) NotStored(maker);
    if (id) RequireRemoved(session, before, AttachmentFiles(*id, mail));
    if (!id) MakeEmptyTarget(session, maker.GetMailID());
    whole.Keep();
    return maker.GetMailID();
}

int CopyMail(Session& session, int id) {
    RequireMail(session, id, Deleted::allow);
    WorkFolder const work(session);
    char const kind = KindOf(session, id);
    OneMailMaker source(&session.Environment(), &session.Mails(), id);
    OneMail mail = Opened(session, source, kind);
    SafeChange whole(session.DataDirectory(), {mail_list_file, MailFolder(NextMailID(session))});
    COneMailData row;
    if (session.Mails().GetMailDataForReprint(id, row) < 0)
        throw Failure(Failure::operation_failed, "メールを写せませんでした: " + std::to_string(id));
    OneMailMaker copy(&session.Environment(), &session.Mails(), row.GetMailID());
    if (copy.SetOneMailData(mail, kind, attachments_per_terminal) < 0) NotStored(copy);
    MakeEmptyTarget(session, row.GetMailID());
    CopyConditions(session, id, row.GetMailID());
    whole.Keep();
    return row.GetMailID();
}

}  // namespace engine
