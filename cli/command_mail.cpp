#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/listing.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/mails/stored_mails.h"
#include "engine/sending/unknown_recipients.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    int mail = 0;
    std::vector<int> mails;
    MailArguments texts;
    std::string file;
    bool deleted = false;
    std::string format = "table";
};

void TellStored(Arguments const& arguments, int mail) {
    std::cout << "メールを保存しました。番号は " << mail << " です。\n次は「tessaly target "
              << arguments.env_file << " " << mail << " --where ...」で宛先を選んでください。\n";
}

void New(Arguments const& arguments) {
    TellStored(arguments, CreateMail(arguments.access, arguments.env_file, arguments.texts));
}

void Edit(Arguments const& arguments) {
    std::string const name =
        ChangeMail(arguments.access, arguments.env_file, arguments.mail, arguments.texts);
    std::cout << "メールを変えました。" << name << "\n";
}

void Import(Arguments const& arguments) {
    TellStored(arguments,
               ImportMail(arguments.access, arguments.env_file, arguments.file, arguments.texts.force));
}

void Export(Arguments const& arguments) {
    ExportMail(arguments.access, arguments.env_file, arguments.mail, arguments.file, arguments.texts.force);
    std::cout << "メールを書き出しました: " << arguments.file << "\n";
}

// A history that cannot be read does not keep the list from being shown.
std::string UnknownIn(Session& session, int mail) {
    try {
        return std::to_string(CountUnknown(session, mail));
    } catch (Failure const&) {
        return "?";
    }
}

void List(Arguments const& arguments) {
    ListFormat const format = ListFormatOf(arguments.format);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    std::vector<MailRow> const rows =
        ListMails(session, arguments.deleted ? MailView::deleted : MailView::kept);
    Listing listing(std::cout, format,
                    {"番号", "件名", "宛先名称", "状態", "送信", "エラー", "開封", "不明", "更新日時"});
    for (MailRow const& row : rows)
        listing.Add({std::to_string(row.mail), row.title, row.address_name, WordOf(row.status), row.sent,
                     row.errors, row.opened, UnknownIn(session, row.mail), row.changed});
    listing.End();
    if (format == ListFormat::table) std::cout << Grouped(rows.size()) << "件\n";
}

void ShowText(MailText const& mail) {
    std::cout << "\n--- " << NameOf(mail.terminal) << " ---\n";
    if (mail.has_body) std::cout << "件名: " << OnOneLine(mail.subject) << "\n";
    for (MailText::Attachment const& attachment : mail.attachments)
        std::cout << "添付: " << attachment.name << " (" << attachment.media_type << ")\n";
    if (mail.html_bytes) std::cout << "HTML: " << Grouped(*mail.html_bytes) << "バイト\n";
    for (std::string const& picture : mail.pictures) std::cout << "画像: " << OnOneLine(picture) << "\n";
    if (!mail.text.empty()) std::cout << "\n" << mail.text << (mail.text.ends_with('\n') ? "" : "\n");
}

void Show(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    StoredMail const mail = DescribeMail(session, arguments.mail);
    std::cout << mail.mail << ": " << OnOneLine(mail.title) << "\n状態: " << WordOf(mail.status) << "\n";
    if (!mail.address_name.empty()) std::cout << "宛先名称: " << mail.address_name << "\n";
    if (!mail.honorific.empty()) std::cout << "敬称: " << mail.honorific << "\n";
    std::cout << "宛先: " << Grouped(static_cast<std::uint64_t>(mail.recipients)) << "人\n";
    for (MailText const& text : mail.texts) ShowText(text);
}

void Copy(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    int const copy = CopyMail(session, arguments.mail);
    std::cout << "メール " << arguments.mail << " を写しました。新しい番号は " << copy
              << " です。\n宛先は「tessaly target " << arguments.env_file << " " << copy
              << " --apply」で、同じ条件で選び直せます。\n";
}

void Delete(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    DeleteMails(session, arguments.mails);
    std::cout << Grouped(arguments.mails.size()) << "件を削除しました (mail restore で戻せます)。\n";
}

void Restore(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::changing);
    RestoreMails(session, arguments.mails);
    std::cout << Grouped(arguments.mails.size()) << "件を下書きに戻しました。\n";
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
    import->add_flag("--force", arguments->texts.force, "文面に指摘があっても保存します");
    CLI::App* write = WithMail(
        AddOne(*family, "export", "メール (pc の文面) を.emlファイルに書き出します", arguments, Export),
        arguments);
    write->add_option("FILE", arguments->file, ".emlファイル")->required()->type_name("");
    write->add_flag("--force", arguments->texts.force, "ファイルがあれば上書きします");
    CLI::App* list = AddOne(*family, "list", "メールの一覧を表示します", arguments, List);
    list->add_flag("--deleted", arguments->deleted, "削除したメールだけにします");
    AddFormat(*list, arguments->format);
    WithMail(AddOne(*family, "show", "メールの文面を表示します", arguments, Show), arguments);
    WithMail(AddOne(*family, "copy", "メールを写して、新しい下書きを作ります", arguments, Copy), arguments);
    WithMails(AddOne(*family, "delete", "メールを削除します (戻せます)", arguments, Delete), arguments);
    WithMails(AddOne(*family, "restore", "削除したメールを下書きに戻します", arguments, Restore), arguments);
}

}  // namespace cli
