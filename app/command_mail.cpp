#include <algorithm>
#include <iostream>
#include <memory>
#include <vector>

#include "command.h"
#include "crossing.h"
#include "failure.h"
#include "listing.h"
#include "mail_status.h"
#include "mail_store.h"
#include "progress.h"
#include "sending.h"
#include "target.h"

namespace app {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    int mail = new_mail;
    std::vector<int> mails;
    std::string draft;
    std::string terminal = terminal_names[pc];
    std::vector<std::string> attach;
    std::vector<std::string> detach;
    std::string honorific;
    std::string address_name;
    bool clear_text = false;
    bool force = false;
    bool deleted = false;
    std::string format = "table";
};

// What the arguments ask of a mail's texts.
class Changes {
  public:
    explicit Changes(Arguments const& arguments)
        : arguments_(arguments), terminal_(TerminalNamed(arguments.terminal)) {
        for (std::string const& file : arguments.attach) added_.push_back(AttachmentOf(terminal_, file));
        honorific_ = Into(arguments.honorific, "敬称");
        address_name_ = Into(arguments.address_name, "宛先名称");
        if (arguments.draft.empty()) return;
        std::vector<Finding> findings;
        draft_ = ReadDraft(arguments.draft, findings);
        if (!draft_.from.address.IsEmpty() || !draft_.reply_to.address.IsEmpty())
            throw Failure(
                "保存するメールには From と Reply-To を書けません。差出人は「settings ENV "
                "from.address=...」で決めます。");
        ShowFindings(findings, arguments.force);
    }

    std::vector<NewAttachment> const& Added() const { return added_; }
    void Make(OneMail& mail) const {
        if (!arguments_.draft.empty() || arguments_.clear_text) {
            mail.m_strSubject[terminal_] = draft_.subject;
            mail.m_strBody[terminal_] = draft_.body;
        }
        if (!honorific_.IsEmpty()) mail.m_strHonorific = honorific_;
        if (!address_name_.IsEmpty()) mail.m_strAddressName = address_name_;
        for (std::string const& name : arguments_.detach) Detach(mail, name);
        for (NewAttachment const& attachment : added_) {
            Take(mail, attachment.entry.m_strFileName);
            mail.m_aAttach[attachment.terminal].Add(attachment.entry);
        }
    }

  private:
    bool Take(OneMail& mail, CString const& name) const {
        CArray<AttachData, AttachData>& list = mail.m_aAttach[terminal_];
        for (int i = 0; i < list.GetSize(); ++i) {
            if (list[i].m_strFileName != name) continue;
            list.RemoveAt(i);
            return true;
        }
        return false;
    }
    void Detach(OneMail& mail, std::string const& name) const {
        if (!Take(mail, Into(name, "添付ファイルの名前")))
            throw Failure("その添付ファイルはありません (" + arguments_.terminal + "): " + name);
    }

    Arguments const& arguments_;
    TermType terminal_;
    std::vector<NewAttachment> added_;
    Draft draft_;
    CString honorific_, address_name_;
};

void New(Arguments const& arguments) {
    const Changes changes(arguments);
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    int const id = StoreMail(session, new_mail, changes.Added(), [&](OneMail& mail) { changes.Make(mail); });
    std::cout << "メールを保存しました。番号は " << id << " です。\n次は「tessaly target "
              << arguments.env_file << " " << id << " --where ...」で宛先を選んでください。\n";
}

void Edit(Arguments const& arguments) {
    if (arguments.clear_text && (!arguments.draft.empty() || TerminalNamed(arguments.terminal) == pc))
        throw Failure("--clear-text は、pc のほかの --terminal の文面を消すためのものです。", exit_usage);
    const Changes changes(arguments);
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    RequireMail(session, arguments.mail);
    StoreMail(session, arguments.mail, changes.Added(), [&](OneMail& mail) { changes.Make(mail); });
    std::cout << "メールを変えました。" << NameOfMail(session, arguments.mail) << "\n";
}

void List(Arguments const& arguments) {
    const ListFormat format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    CArray<int, int> ids;
    session.Mails().CountMailByViewType(
        arguments.deleted ? CMailListViewer::view_deleted : CMailListViewer::view_not_deleted, &ids);
    Listing listing(std::cout, format,
                    {"番号", "件名", "宛先名称", "状態", "送信", "エラー", "開封", "更新日時"});
    for (int const id : ids) {
        std::vector<CString> cells;
        for (int const column :
             {CMailListViewer::column_id, CMailListViewer::column_title, CMailListViewer::column_address_name,
              CMailListViewer::column_status, CMailListViewer::column_sent, CMailListViewer::column_errors,
              CMailListViewer::column_opened, CMailListViewer::column_renewal_date}) {
            CString cell;
            session.Mails().GetMailDataPinPoint(id, column, cell);
            cells.push_back(column == CMailListViewer::column_status ? Into(StatusName(cell), "状態") : cell);
        }
        listing.Add(std::move(cells));
    }
    listing.End();
    if (format == ListFormat::table)
        std::cout << Grouped(static_cast<std::uint64_t>(ids.GetSize())) << "件\n";
}

void ShowVersion(OneMail const& mail, int terminal) {
    CArray<AttachData, AttachData> const& attachments = mail.m_aAttach[terminal];
    if (mail.m_strBody[terminal].IsEmpty() && attachments.IsEmpty()) return;
    std::cout << "\n--- " << terminal_names[static_cast<std::size_t>(terminal)] << " ---\n";
    if (!mail.m_strBody[terminal].IsEmpty())
        std::cout << "件名: " << Out(OnOneLine(mail.m_strSubject[terminal].View())) << "\n";
    for (AttachData const& attachment : attachments)
        std::cout << "添付: " << Out(attachment.m_strFileName) << " (" << Out(attachment.m_strFileInfo)
                  << ")\n";
    CString body = mail.m_strBody[terminal];
    body.Replace("\r\n", "\n");
    if (!body.IsEmpty()) std::cout << "\n" << Out(body) << (body.Right(1) == "\n" ? "" : "\n");
}

void Show(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    RequireMail(session, arguments.mail, Deleted::allow);
    const OneMail mail = ReadMail(session, arguments.mail);
    COneMailData row;
    session.Mails().GetMailData(arguments.mail, row);
    std::cout << NameOfMail(session, arguments.mail) << "\n状態: " << StatusName(row.GetStatus()) << "\n";
    if (!mail.m_strAddressName.IsEmpty()) std::cout << "宛先名称: " << Out(mail.m_strAddressName) << "\n";
    if (!mail.m_strHonorific.IsEmpty()) std::cout << "敬称: " << Out(mail.m_strHonorific) << "\n";
    std::cout << "宛先: " << Grouped(static_cast<std::uint64_t>(RecipientCount(session, arguments.mail)))
              << "人\n";
    for (int terminal = 0; terminal < terminal_count; ++terminal) ShowVersion(mail, terminal);
}

void Copy(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    RequireMail(session, arguments.mail, Deleted::allow);
    int const copy = CopyMail(session, arguments.mail);
    std::cout << "メール " << arguments.mail << " を写しました。新しい番号は " << copy
              << " です。\n宛先は「tessaly target " << arguments.env_file << " " << copy
              << " --apply」で、同じ条件で選び直せます。\n";
}

// The same for every mail, all or none.
void ChangeEach(Arguments const& arguments, Deleted which, char const* done,
                int (CMailListViewer::*change)(int)) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    for (int const id : arguments.mails) {
        RequireMail(session, id, which);
        if (which == Deleted::allow && !IsDeleted(session, id))
            throw Failure("削除されていないメールです: " + std::to_string(id));
    }
    for (int const id : arguments.mails)
        if ((session.Mails().*change)(id) < 0) throw Failure("変えられませんでした: " + std::to_string(id));
    session.SaveMails();
    std::cout << Grouped(arguments.mails.size()) << "件を" << done << "\n";
}

void Delete(Arguments const& arguments) {
    ChangeEach(arguments, Deleted::refuse, "削除しました (mail restore で戻せます)。",
               &CMailListViewer::DeleteMailData);
}

void Restore(Arguments const& arguments) {
    ChangeEach(arguments, Deleted::allow, "下書きに戻しました。", &CMailListViewer::UnDeleteMailData);
}

CLI::App* WithMail(CLI::App* command, std::shared_ptr<Arguments> const& arguments) {
    AddMail(*command, arguments->mail)->required();
    return command;
}

CLI::App* WithMails(CLI::App* command, std::shared_ptr<Arguments> const& arguments) {
    command->add_option("MAIL", arguments->mails, "メールの番号")
        ->required()
        ->check(NumberFrom(0))
        ->type_name("");
    return command;
}

CLI::Option* AddTexts(CLI::App* command, std::shared_ptr<Arguments> const& arguments) {
    CLI::Option* draft =
        command->add_option("--draft", arguments->draft, "下書き: Subject、空の行、本文 (UTF-8)")
            ->type_name("FILE");
    command->add_option("--attach", arguments->attach, "添付するファイル (2MBまで。いくつでも)")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command->add_option("--honorific", arguments->honorific, "宛先の名前につける敬称 (例: 様)")
        ->type_name("TEXT");
    command->add_option("--address-name", arguments->address_name, "宛先名称 (一覧に出る、宛先の呼び名)")
        ->type_name("TEXT");
    command->add_flag("--force", arguments->force, "下書きに指摘があっても保存します");
    return draft;
}

}  // namespace

void AddMailCommands(CLI::App& program) {
    CLI::App* family = program.add_subcommand("mail", "メールを保存し、変え、表示します");
    family->require_subcommand(1);
    auto arguments = std::make_shared<Arguments>();

    AddTexts(AddOne(*family, "new", "下書きから新しいメールを作ります", arguments, New), arguments)
        ->required();
    CLI::App* edit =
        WithMail(AddOne(*family, "edit", "メールの文面と添付ファイルを変えます", arguments, Edit), arguments);
    AddTexts(edit, arguments);
    edit->add_option("--terminal", arguments->terminal,
                     "変える文面と添付の端末: pc、nd (ドコモ)、at (au)、sb (ソフトバンク)、wl (ウィルコム)。"
                     "文面や添付のない端末には pc のものが届きます")
        ->type_name("TERM");
    edit->add_option("--detach", arguments->detach, "外す添付ファイルの名前")
        ->type_name("NAME")
        ->allow_extra_args(false);
    edit->add_flag("--clear-text", arguments->clear_text,
                   "その端末の文面を消します (pc の文面が届くようになります)");
    CLI::App* list = AddOne(*family, "list", "メールの一覧を表示します", arguments, List);
    list->add_flag("--deleted", arguments->deleted, "削除したメールだけにします");
    AddFormat(*list, arguments->format);
    WithMail(AddOne(*family, "show", "メールの文面を表示します", arguments, Show), arguments);
    WithMail(AddOne(*family, "copy", "メールを写して、新しい下書きを作ります", arguments, Copy), arguments);
    WithMails(AddOne(*family, "delete", "メールを削除します (戻せます)", arguments, Delete), arguments);
    WithMails(AddOne(*family, "restore", "削除したメールを下書きに戻します", arguments, Restore), arguments);
}

}  // namespace app
