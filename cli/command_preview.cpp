#include <algorithm>
#include <array>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/progress.h"
#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/mails/html_mail.h"
#include "engine/mails/merged_mail.h"
#include "engine/sending/sending.h"
#include "engine/targets/target.h"

namespace cli {
namespace {

constexpr std::size_t measured_at_once = 1000;  // recipients
constexpr int with_kana_widened = 1;

struct Arguments {
    Access access;
    std::string env_file;
    int mail = new_mail;
    std::string draft;
    int customer = -1;
    std::string terminal;
    std::string page;
    bool size = false;
};

void ShowMailbox(char const* name, Mailbox const& mailbox) {
    std::cout << name << Out(mailbox.name) << (mailbox.name.IsEmpty() ? "" : " ") << "<"
              << Out(mailbox.address) << ">\n";
}

void ShowMail(Session& session, MailContent const& content, MailVersion const& version, Mailbox const& from,
              OneCustomer const& customer) {
    const MergedMail text = Merge(version, content.honorific, customer);
    ShowMailbox("差出人: ", SenderOf(session, from));
    if (!content.reply_to.address.IsEmpty()) ShowMailbox("返信先: ", content.reply_to);
    ShowMailbox("宛先: ", {text.to_name, text.to_address});
    std::cout << "件名: " << Out(text.subject) << "\n\n";
    CString body = text.body;
    body.Replace("\r\n", "\n");
    std::cout << Out(body) << (body.Right(1) == "\n" ? "" : "\n");
}

OneCustomer Fetched(Session& session, int id) {
    OneCustomer customer;
    if (session.Customers().GetOneCustomerForEdit(customer, id) < 0)
        throw Failure(Failure::customer_not_found, "その個人情報IDの顧客はいません: " + std::to_string(id));
    return customer;
}

void PreviewDraft(Arguments const& arguments) {
    std::vector<Finding> findings;
    const Draft draft = ReadDraft(arguments.draft, findings);
    TellFindings(Terminal(), findings, true);
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    const OneCustomer customer = Fetched(session, arguments.customer);
    const MailContent content = ContentOf(draft);
    ShowMail(session, content, content.For(customer.Email), draft.from, customer);
}

// The longest text that merging gives, and whose it is.
struct Longest {
    int bytes = -1;
    int id = -1;
    void Take(CMailSize& size) {
        if (size.GetMaxSize() <= bytes) return;
        bytes = size.GetMaxSize();
        id = size.GetMaxCustomerID();
    }
};

Longest Measure(Session& session, CString const& text, std::vector<int> const& ids) {
    Longest longest;
    CMailSize size(&session.Customers());
    size.SetTargetString(text, 0);
    for (std::size_t from = 0; from < ids.size(); from += measured_at_once) {
        CArray<int, int> some;
        for (std::size_t i = from; i < std::min(from + measured_at_once, ids.size()); ++i) some.Add(ids[i]);
        if (size.SetTargetCustomerByCustomerIDArray(some) < 0) continue;
        size.Analyze(with_kana_widened);
        longest.Take(size);
    }
    return longest;
}

void ShowSizes(Session& session, Arguments const& arguments, MailContent const& content) {
    std::array<std::vector<int>, terminal_count> ids;
    for (int const id : RecipientsOf(session, arguments.mail)) {
        const CString address = session.Customers().GetCustomerDataPinPoint(id, customers::element_address);
        ids[static_cast<std::size_t>(CXEmail::GetTermTypeFromMailAddr(address))].push_back(id);
    }
    bool any = false;
    for (std::size_t terminal = 0; terminal < terminal_count; ++terminal) {
        if (!arguments.terminal.empty() && arguments.terminal != terminal_names[terminal]) continue;
        for (auto const& [name, text] : {std::pair("件名", content.versions[terminal].subject),
                                         std::pair("本文", content.versions[terminal].body)}) {
            const Longest longest = Measure(session, text, ids[terminal]);
            if (longest.id < 0) continue;
            any = true;
            std::cout << terminal_names[terminal] << " " << name << ": 最長 "
                      << Grouped(static_cast<std::uint64_t>(longest.bytes)) << "バイト (個人情報ID "
                      << longest.id << " <"
                      << Out(session.Customers().GetCustomerDataPinPoint(longest.id,
                                                                         customers::element_address))
                      << ">、" << Grouped(ids[terminal].size()) << "人中)\n";
        }
    }
    if (!any)
        throw Failure(Failure::no_recipients,
                      "測る宛先がありません。先に「tessaly target」で宛先を選んでください。");
}

// The HTML that the customer gets, for a browser.
void WritePage(MailVersion const& version, OneCustomer const& customer, std::string const& file) {
    CMimeAnalyze parts = *version.html;
    MergeInto(parts, customer);
    const std::string page = PageOf(parts);
    bool const written = ReplaceFile(file, page);
    if (!written) throw Failure(Failure::not_written, "書けませんでした: " + file);
    std::cout << "HTML: " << file << "\n";
}

void PreviewStored(Arguments const& arguments) {
    Session session(arguments.access, arguments.env_file, Session::For::reading);
    RequireMail(session, arguments.mail, Deleted::allow);
    const MailContent content = ContentOf(session, arguments.mail);
    if (arguments.size) return ShowSizes(session, arguments, content);
    const OneCustomer customer = Fetched(session, arguments.customer);
    TermType const terminal = arguments.terminal.empty() ? CXEmail::GetTermTypeFromMailAddr(customer.Email)
                                                         : TerminalNamed(arguments.terminal);
    MailVersion const& version = content.versions[static_cast<std::size_t>(terminal)];
    if (!arguments.page.empty() && !version.html)
        throw Failure(Failure::unsuitable_mail, "この端末に届く文面にHTMLはありません。");
    ShowMail(session, content, version, {}, customer);
    const OneMail mail = ReadMail(session, arguments.mail);
    auto const& own = mail.m_aAttach[terminal].IsEmpty() ? mail.m_aAttach[pc] : mail.m_aAttach[terminal];
    for (AttachData const& attachment : own) std::cout << "添付: " << Out(attachment.m_strFileName) << "\n";
    if (!arguments.page.empty()) WritePage(version, customer, arguments.page);
}

void Preview(Arguments const& arguments) {
    bool const stored = arguments.mail != new_mail;
    if (stored == !arguments.draft.empty())
        throw Failure(Failure::invalid_request,
                      "見るもの (メールの番号か --draft のどちらか) を1つ書いてください。");
    if (arguments.customer < 0 && !arguments.size)
        throw Failure(Failure::invalid_request, "--customer が必要です。");
    if (!stored && (arguments.size || !arguments.terminal.empty() || !arguments.page.empty()))
        throw Failure(Failure::invalid_request,
                      "--size、--terminal、--html は、保存したメールだけに使えます。");
    if (!arguments.terminal.empty()) TerminalNamed(arguments.terminal);
    if (stored)
        PreviewStored(arguments);
    else
        PreviewDraft(arguments);
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
