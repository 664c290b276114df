#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include "cli/command.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/sending/mail_preview.h"

namespace cli {
namespace {

struct Arguments {
    Access access;
    std::string env_file;
    std::optional<int> mail;
    std::string draft;
    std::optional<int> customer;
    std::string terminal;
    std::string page;
    bool size = false;
};

void ShowAddress(char const* name, MailPreview::Address const& one) {
    std::cout << name << one.name << (one.name.empty() ? "" : " ") << "<" << one.address << ">\n";
}

void ShowMail(MailPreview const& preview) {
    ShowAddress("差出人: ", preview.from);
    if (preview.reply_to) ShowAddress("返信先: ", *preview.reply_to);
    ShowAddress("宛先: ", preview.to);
    std::cout << "件名: " << preview.subject << "\n\n"
              << preview.body << (preview.body.ends_with('\n') ? "" : "\n");
    for (std::string const& name : preview.attachments) std::cout << "添付: " << name << "\n";
}

void WritePage(std::string const& page, std::string const& file) {
    bool const written = ReplaceFile(file, page);
    if (!written) throw Failure(Failure::not_written, "書けませんでした: " + file);
    std::cout << "HTML: " << file << "\n";
}

void ShowSizes(Arguments const& arguments, std::optional<TermType> only) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    for (LongestText const& text : LongestTexts(session, *arguments.mail, only))
        std::cout << NameOf(text.terminal) << " " << (text.part == LongestText::subject ? "件名" : "本文")
                  << ": 最長 " << Grouped(static_cast<std::uint64_t>(text.bytes)) << "バイト (個人情報ID "
                  << text.customer << " <" << text.address << ">、" << Grouped(text.recipients) << "人中)\n";
}

void RefuseArguments(Arguments const& arguments) {
    bool const stored = arguments.mail.has_value();
    if (stored == !arguments.draft.empty())
        throw Failure(Failure::invalid_request,
                      "見るもの (メールの番号か --draft のどちらか) を1つ書いてください。");
    if (!arguments.customer && !arguments.size)
        throw Failure(Failure::invalid_request, "--customer が必要です。");
    if (!stored && (arguments.size || !arguments.terminal.empty() || !arguments.page.empty()))
        throw Failure(Failure::invalid_request,
                      "--size、--terminal、--html は、保存したメールだけに使えます。");
}

void Preview(Arguments const& arguments) {
    RefuseArguments(arguments);
    std::optional<TermType> terminal;
    if (!arguments.terminal.empty()) terminal = TerminalNamed(arguments.terminal);
    if (arguments.size) return ShowSizes(arguments, terminal);
    MailPreview const preview =
        PreviewOf(arguments.access, arguments.env_file,
                  {arguments.mail, arguments.draft, *arguments.customer, terminal, !arguments.page.empty()});
    ShowMail(preview);
    if (!arguments.page.empty()) WritePage(preview.page, arguments.page);
}

}  // namespace

void AddPreviewCommand(CLI::App& program) {
    auto arguments = std::make_shared<Arguments>();
    CLI::App* command = program.add_subcommand("preview", "1人の顧客に届く文面を表示します");
    AddEnvFile(*command, arguments->env_file);
    AddMail(*command, arguments->mail);
    command->add_option("--draft", arguments->draft, "保存したメールの代わりに見る下書き")->type_name("FILE");
    CLI::Option* customer = command->add_option("--customer", arguments->customer, "個人情報ID")
                                ->check(NumberFrom(0))
                                ->type_name("ID");
    command
        ->add_option("--terminal", arguments->terminal,
                     "アドレスで決まる端末の代わりに見る端末 (pc、nd、at、sb、wl)")
        ->type_name("TERM");
    command->add_option("--html", arguments->page, "HTMLの文面を、ブラウザーで見るファイルにします")
        ->type_name("FILE");
    command
        ->add_flag("--size", arguments->size,
                   "宛先の全員について、差し込み後に最も長い文面と、それが誰のものかを表示します")
        ->excludes(customer);
    AddAccess(*command, arguments->access);
    command->callback([arguments] { Preview(*arguments); });
}

}  // namespace cli
