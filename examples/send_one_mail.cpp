// Sends one mail over SMTP, plain, and tells how it went.
//   send_one_mail HOST PORT SENDER RECIPIENT
// Exit code: 0 the server took the mail, 1 it did not, 2 wrong arguments.
#include <tessaly/delivery.h>
#include <tessaly/storage.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

// The library's texts are bytes in code page 932; this program is UTF-8.
CString In(std::string_view utf8) { return CString(std::string_view(platform::Cp932FromUtf8(utf8))); }
std::string Out(CString const& text) { return platform::Utf8FromCp932(text.View()); }

char const* NameOf(protocol::SmtpPhase phase) {
    using enum protocol::SmtpPhase;
    switch (phase) {
        case none: return "before any server was asked";
        case connect: return "connecting";
        case greeting: return "greeting";
        case hello: return "EHLO or HELO";
        case upgrade: return "STARTTLS";
        case authentication: return "AUTH";
        case reset: return "RSET";
        case sender: return "MAIL FROM";
        case recipient: return "RCPT TO";
        case data: return "DATA";
        case message: return "the text of the mail";
        case quit: return "QUIT";
    }
    return "";
}

void FillMail(MailSend& mail, char const* sender, char const* recipient) {
    mail.SetSenderAddr(sender);
    mail.SetRecipient(recipient);
    mail.SetMessageID(MailSend::MakeMessageID("shop@example.jp", 1));
    mail.AddHeader("Date", MailSend::MakeSmtpDateNow(nullptr), nullptr);
    mail.AddHeader("From", In("みどり野の店"), sender);
    mail.AddHeader("To", nullptr, recipient);
    mail.AddHeader("Subject", In("秋のご案内"), nullptr);
    mail.SetBody(In("秋の新作をお届けします。\r\nみどり野の店\r\n"));
}

void TellFailure(MailSend& mail) {
    protocol::SmtpFailure const& failure = mail.GetFailure();
    std::printf("not sent: %s", NameOf(failure.phase));
    if (failure.code != 0)
        std::printf(", reply %d, status %s", failure.code,
                    failure.enhanced.IsEmpty() ? "unknown" : Out(failure.enhanced).c_str());
    std::printf("\n%s\n", Out(mail.GetErrMsg().GetLastMsg()).c_str());
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 5) {
        std::fprintf(stderr, "send_one_mail HOST PORT SENDER RECIPIENT\n");
        return 2;
    }
    constexpr unsigned time_limit_milliseconds = 30'000;
    MailSend mail;
    if (mail.SetSmtpHost(arguments[1], std::atoi(arguments[2])) != 1) {
        std::fprintf(stderr, "%s\n", Out(mail.GetErrMsg().GetLastMsg()).c_str());
        return 2;
    }
    mail.SetTimeOutTime(time_limit_milliseconds);
    mail.SetTimeOutTimeBeforeConnect(time_limit_milliseconds);
    FillMail(mail, arguments[3], arguments[4]);
    if (mail.Send() != MailSend::SendAccepted) {
        TellFailure(mail);
        return 1;
    }
    std::printf("sent\n");
    return 0;
}
