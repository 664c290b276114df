#include "engine/sending/sending.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sstream>

#include "engine/base/crossing.h"
#include "engine/base/failure.h"
#include "engine/base/whole_file.h"
#include "engine/base/whole_number.h"
#include "engine/consent/mail_stops.h"
#include "engine/environment/message_key.h"
#include "engine/environment/settings_catalogue.h"
#include "tessaly/text.h"

namespace engine {
namespace {

std::string Totals(Mailing const& mailing, std::size_t asked, double seconds) {
    std::uint64_t const done = mailing.Done(), sent = mailing.Sent(), left_out = mailing.LeftOut();
    std::ostringstream text;
    text << "送信 " << Grouped(sent) << "通、送れず " << Grouped(done - sent - left_out) << "通";
    if (left_out > 0) text << "、見送り " << Grouped(left_out) << "通";
    if (done < asked) text << "、残り " << Grouped(asked - done) << "通";
    text << " (" << static_cast<long>(seconds * 10) / 10.0 << "秒、毎秒"
         << Grouped(static_cast<std::uint64_t>(seconds > 0 ? static_cast<double>(done) / seconds : 0))
         << "通)";
    return text.str();
}

// A value that is none of the setting's choices, from a damaged or newer file, is refused.
std::string ChoiceOf(Session& session, std::string_view name) {
    std::string value = session.Setting(name), refusal = RefusalOf(*FindSetting(name), value);
    if (!refusal.empty())
        throw Failure(Failure::invalid_value, std::string(name) + ": " + refusal + ": " + value);
    return value;
}

Security SecurityOf(Session& session, std::string_view name) {
    std::string const value = ChoiceOf(session, name);
    return value == "tls" ? Security::tls : value == "starttls" ? Security::starttls : Security::none;
}

CString CaFileOf(Session& session, std::string_view name) {
    std::string const file = session.Setting(name);
    if (file.empty()) return {};
    if (!std::filesystem::is_regular_file(file))
        throw Failure(Failure::file_not_found, std::string(name) + " のファイルがありません: " + file);
    return IntoPath(std::filesystem::absolute(file).string());
}

unsigned PatienceOf(Session& session) {
    return static_cast<unsigned>(session.NumberSetting("smtp.timeout")) * 1000U;
}

}  // namespace

void ReadServer(std::string const& text, std::string const& option, CString& host, int& port) {
    std::size_t const colon = text.rfind(':');
    bool const bracketed = text.starts_with('[');
    std::size_t const close = text.find(']');
    bool const with_port =
        colon != text.npos && (!bracketed || close == colon - 1) && (bracketed || text.find(':') == colon);
    std::string name = with_port ? text.substr(0, colon) : text;
    if (bracketed && close != text.npos) name = text.substr(1, close - 1);
    host = Into(name, "サーバーの名前");
    if (!with_port) return;
    port = WholeNumber(std::string_view(text).substr(colon + 1)).value_or(0);
    if (port < 1 || port > 65535)
        throw Failure(Failure::invalid_request, option + " のポート番号が正しくありません: " + text);
}

Mailbox SenderOf(Session& session, Mailbox const& given) {
    if (!given.address.IsEmpty()) return given;
    std::string const address = session.Setting("from.address");
    if (address.empty())
        throw Failure(Failure::missing_setting,
                      "差出人がありません。「settings ENV from.address=...」で決めてください。");
    Mailbox from{Into(session.Setting("from.name"), "差出人の名前"), Into(address, "差出人のアドレス")};
    if (MailAddressChecker(from.address) != 1)
        throw Failure(Failure::invalid_address, "差出人のメールアドレスが正しくありません: " + address);
    return from;
}

ServerSettings ServerOf(Session& session, std::string const& given) {
    ServerSettings server;
    server.host = Into(session.Setting("smtp.host"), "smtp.host");
    server.port = session.NumberSetting("smtp.port");
    server.auth = ChoiceOf(session, "smtp.auth");
    server.user = Into(session.Setting("smtp.user"), "smtp.user");
    server.password = Into(session.Setting("smtp.password"), "smtp.password");
    server.timeout_milliseconds = PatienceOf(session);
    server.security = SecurityOf(session, "smtp.security");
    server.ca_file = CaFileOf(session, "smtp.ca-file");
    server.mails_per_connection = session.NumberSetting("smtp.mails-per-connection");
    server.mailer = Into(session.Setting("mailer"), "mailer");
    if (!given.empty()) ReadServer(given, "--smtp", server.host, server.port);
    if (server.host.IsEmpty())
        throw Failure(
            Failure::missing_setting,
            "送信サーバーがありません。「settings ENV smtp.host=...」で決めるか、--smtp をつけてください。");
    return server;
}

WayBack WayBackOf(Session& session) {
    std::string const address = session.Setting("return.address"),
                      refusal = RefusalOf(*FindSetting("return.address"), address);
    if (!refusal.empty())
        throw Failure(Failure::invalid_value, "return.address: " + refusal + ": " + address);
    return {IdSigner(MessageKeyForSending(session)), Into(address, "return.address")};
}

MailboxSettings MailboxOf(Session& session, std::string const& given) {
    MailboxSettings mailbox;
    mailbox.host = Into(session.Setting("pop.host"), "pop.host");
    mailbox.port = session.NumberSetting("pop.port");
    mailbox.apop = ChoiceOf(session, "pop.auth") == "apop";
    mailbox.user = Into(session.Setting("pop.user"), "pop.user");
    mailbox.password = Into(session.Setting("pop.password"), "pop.password");
    mailbox.timeout_milliseconds = PatienceOf(session);
    mailbox.security = SecurityOf(session, "pop.security");
    mailbox.ca_file = CaFileOf(session, "pop.ca-file");
    if (!given.empty()) ReadServer(given, "--pop", mailbox.host, mailbox.port);
    if (mailbox.host.IsEmpty())
        throw Failure(
            Failure::missing_setting,
            "受信サーバーがありません。「settings ENV pop.host=...」で決めるか、--pop をつけてください。");
    if (mailbox.user.IsEmpty())
        throw Failure(
            Failure::missing_setting,
            "受信サーバーのユーザーIDがありません。「settings ENV pop.user=...」で決めてください。");
    return mailbox;
}

std::vector<int> IdsIn(std::string_view text, std::string_view option) {
    std::vector<int> ids;
    for (std::string_view rest = text; !rest.empty();) {
        std::size_t const comma = std::min(rest.find(','), rest.size());
        auto const id = WholeNumber(rest.substr(0, comma));
        if (!id)
            throw Failure(
                Failure::invalid_request,
                std::string(option) + " は個人情報IDをカンマで並べたものです: " + std::string(text));
        ids.push_back(*id);
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
    return ids;
}

bool AcceptsDirectMail(CDatabaseEdit& customers, int id) {
    return customers.GetCustomerDataPinPoint(id, customers::element_direct_mail) == "Y";
}

void DropRefusers(Session& session, std::vector<int>& ids) {
    CDatabaseEdit& customers = session.Customers();
    auto const dropped = std::erase_if(ids, [&](int id) { return !AcceptsDirectMail(customers, id); });
    if (dropped > 0)
        session.Front().Notice("DMを受け取らない顧客 " + Grouped(dropped) + "人には送りません。");
    DropStopped(session, ids);
}

Standing StandingOf(OneCustomer const& customer) {
    if (!customer.DeleteFlag.IsEmpty()) return Standing::gone;
    return customer.DMOk == "Y" ? Standing::recipient : Standing::refuses;
}

Mailing::Fetch FetchFrom(CDatabaseEdit& customers) {
    return [&customers](int id, OneCustomer& customer) {
        bool const found = customers.GetOneCustomerForEdit(customer, id) == CDatabaseEdit::ok;
        return found ? StandingOf(customer) : Standing::gone;
    };
}

// Beside the library, where it would be otherwise, a user can seldom write.
void KeepTransferLog(Session& session) {
    std::string const folder = session.DataDirectory() + "/LOG";
    MakeFolder(folder);
    platform::SetModuleDirectory(folder);
}

void RunMailing(Session& session, Mailing& mailing, std::vector<int> const& ids, int threads) {
    KeepTransferLog(session);
    int const wanted = threads > 0 ? threads : session.NumberSetting("send.threads");
    auto const start = std::chrono::steady_clock::now();
    {
        auto const progress =
            session.Front().ShowProgress("送信", "通", ids.size(), [&] { return mailing.Done(); });
        mailing.Run(ids, std::min<int>(wanted, static_cast<int>(std::max<std::size_t>(ids.size(), 1))));
    }
    session.Front().Result(
        Totals(mailing, ids.size(),
               std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()));
}

}  // namespace engine
