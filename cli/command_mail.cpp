#include <cstdint>
#include <filesystem>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "cli/progress.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/mails/eml_file.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/mail_changes.h"
#include "engine/mails/mail_content.h"
#include "engine/mails/mail_status.h"
#include "engine/targets/target.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    int mail = new_mail;
    std::vector<int> mails;
    MailArguments texts;
    std::string file;
    bool force = false;
    bool deleted = false;
    std::string format = "table";
};

int Store(Session& session, int id, MailChanges const& changes) {
    char const present = id == new_mail ? kind_text : KindOf(session, id);
    return StoreMail(session, id, changes.KindFor(present), changes.Added(),
                     [&](OneMail& mail) { changes.Make(mail, present); });
}

void StoreNew(Arguments const& arguments, MailArguments const& texts) {
    const MailChanges changes(Terminal(), texts);
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    int const id = Store(session, new_mail, changes);
    std::cout << "メールを保存しました。番号は " << id << " です。\n次は「tessaly target "
              << arguments.env_file << " " << id << " --where ...」で宛先を選んでください。\n";
}

void New(Arguments const& arguments) { StoreNew(arguments, arguments.texts); }

void Edit(Arguments const& arguments) {
    MailArguments const& texts = arguments.texts;
    if (texts.ChangeNothing())
        throw Failure(Failure::invalid_request, "変えるものを指定してください (例: --draft FILE)。");
    if (texts.clear_text &&
        (!texts.draft.empty() || !texts.html.empty() || TerminalNamed(texts.terminal) == pc))
        throw Failure(Failure::invalid_request,
                      "--clear-text は、pc のほかの --terminal の文面を消すためのものです。");
    const MailChanges changes(Terminal(), texts);
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    RequireMail(session, arguments.mail);
    Store(session, arguments.mail, changes);
    std::cout << "メールを変えました。" << NameOfMail(session, arguments.mail) << "\n";
}

void Import(Arguments const& arguments) {
    const UnpackedEml unpacked(arguments.file);
    MailArguments texts = unpacked.Texts();
    texts.force = arguments.force;
    StoreNew(arguments, texts);
}

void Export(Arguments const& arguments) {
    if (std::filesystem::exists(arguments.file) && !arguments.force)
        throw Failure(Failure::file_exists, "ファイルがもうあります: " + arguments.file +
                                                "\n上書きするなら --force をつけてください。");
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    RequireMail(session, arguments.mail, Deleted::allow);
    const CString eml = EmlOf(ContentOf(session, arguments.mail).versions[pc]);
    bool const written = ReplaceFile(arguments.file, eml.View());
    if (!written) throw Failure(Failure::not_written, "書けませんでした: " + arguments.file);
    std::cout << "メールを書き出しました: " << arguments.file << "\n";
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

void ShowText(CString body) {
    body.Replace("\r\n", "\n");
    if (!body.IsEmpty()) std::cout << "\n" << Out(body) << (body.Right(1) == "\n" ? "" : "\n");
}

void ShowHtml(CMimeAnalyze const& parts) {
    if (!parts.HtmlPartExist()) return;
    std::cout << "HTML: " << Grouped(static_cast<std::uint64_t>(HtmlIn(parts).GetLength())) << "バイト\n";
    for (MimeFormatStruct const& picture : parts.GetConstRefOfMimeHtmlAttach()) {
        CString name;
        picture.GetNameParamFromContentType(name);
        std::cout << "画像: " << Out(OnOneLine(name.View())) << "\n";
    }
}

void ShowVersion(OneMail const& mail, int terminal, char kind) {
    CArray<AttachData, AttachData> const& attachments = mail.m_aAttach[terminal];
    CString const& body = mail.m_strBody[terminal];
    if (body.IsEmpty() && attachments.IsEmpty()) return;
    std::cout << "\n--- " << terminal_names[static_cast<std::size_t>(terminal)] << " ---\n";
    if (!body.IsEmpty()) std::cout << "件名: " << Out(OnOneLine(mail.m_strSubject[terminal].View())) << "\n";
    for (AttachData const& attachment : attachments)
        std::cout << "添付: " << Out(attachment.m_strFileName) << " (" << Out(attachment.m_strFileInfo)
                  << ")\n";
    if (body.IsEmpty() || !HoldsMime(kind, terminal)) return ShowText(body);
    const CMimeAnalyze parts = PartsOf(body);
    ShowHtml(parts);
    ShowText(TextIn(parts));
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
    char const kind = KindOf(session, arguments.mail);
    for (int terminal = 0; terminal < terminal_count; ++terminal) ShowVersion(mail, terminal, kind);
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
            throw Failure(Failure::not_deleted, "削除されていないメールです: " + std::to_string(id));
    }
    for (int const id : arguments.mails)
        if ((session.Mails().*change)(id) < 0)
            throw Failure(Failure::operation_failed, "変えられませんでした: " + std::to_string(id));
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
    MailArguments& texts = arguments->texts;
    CLI::Option* draft = command->add_option("--draft", texts.draft, "下書き: Subject、空の行、本文 (UTF-8)")
                             ->type_name("FILE");
    command
        ->add_option(
            "--html", texts.html,
            "HTMLの文面 (UTF-8)。横にある画像は一緒に届きます。下書きに本文がなければ、HTMLから作ります")
        ->type_name("FILE");
    command->add_option("--inline", texts.pictures, "HTMLの横にない画像 (いくつでも)")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command->add_option("--attach", texts.attach, "添付するファイル (2MBまで。いくつでも)")
        ->type_name("FILE")
        ->allow_extra_args(false);
    command->add_option("--honorific", texts.honorific, "宛先の名前につける敬称 (例: 様)")->type_name("TEXT");
    command->add_option("--address-name", texts.address_name, "宛先名称 (一覧に出る、宛先の呼び名)")
        ->type_name("TEXT");
    command->add_flag("--force", texts.force, "下書きやHTMLに指摘があっても保存します");
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
    edit->add_option("--terminal", arguments->texts.terminal,
                     "変える文面と添付の端末: pc、nd (ドコモ)、at (au)、sb (ソフトバンク)、wl (ウィルコム)。"
                     "文面や添付のない端末には pc のものが届きます")
        ->type_name("TERM");
    edit->add_option("--detach", arguments->texts.detach, "外す添付ファイルの名前")
        ->type_name("NAME")
        ->allow_extra_args(false);
    edit->add_flag("--clear-text", arguments->texts.clear_text,
                   "その端末の文面を消します (pc の文面が届くようになります)");
    edit->add_flag("--no-html", arguments->texts.no_html, "HTMLをやめて、文面だけのメールに戻します")
        ->excludes("--html");
    CLI::App* import = AddOne(*family, "import", ".emlファイルから新しいメールを作ります", arguments, Import);
    import->add_option("FILE", arguments->file, ".emlファイル")->required()->type_name("");
    import->add_flag("--force", arguments->force, "文面に指摘があっても保存します");
    CLI::App* write = WithMail(
        AddOne(*family, "export", "メール (pc の文面) を.emlファイルに書き出します", arguments, Export),
        arguments);
    write->add_option("FILE", arguments->file, ".emlファイル")->required()->type_name("");
    write->add_flag("--force", arguments->force, "ファイルがあれば上書きします");
    CLI::App* list = AddOne(*family, "list", "メールの一覧を表示します", arguments, List);
    list->add_flag("--deleted", arguments->deleted, "削除したメールだけにします");
    AddFormat(*list, arguments->format);
    WithMail(AddOne(*family, "show", "メールの文面を表示します", arguments, Show), arguments);
    WithMail(AddOne(*family, "copy", "メールを写して、新しい下書きを作ります", arguments, Copy), arguments);
    WithMails(AddOne(*family, "delete", "メールを削除します (戻せます)", arguments, Delete), arguments);
    WithMails(AddOne(*family, "restore", "削除したメールを下書きに戻します", arguments, Restore), arguments);
}

}  // namespace cli
