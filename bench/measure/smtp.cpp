// Sending: one whole conversation for each mail, transfer log on.
#include <tessaly/delivery.h>
#include <tessaly/storage.h>
#include <tessaly/text.h>

#include <atomic>
#include <cstring>
#include <stdexcept>
#include <thread>

#include "measure.h"

namespace measure {
namespace {

constexpr int mails = 3000;
// The peers of this section are run in three rounds, each as often as three runs or three seconds allow.
constexpr int peers_runs = 9;
constexpr double peers_budget = 9;

struct Mail {
    CString header, body;
};

// The header lines that are not the client's own, and the body as the library keeps text.
Mail Load(std::string const& path) {
    std::string text = Slurp(path);
    std::size_t const end = text.find("\r\n\r\n");
    if (end == text.npos) throw std::runtime_error("no body in " + path);
    Mail mail;
    for (std::size_t at = 0; at < end + 2;) {
        std::size_t const next = text.find("\r\n", at) + 2;
        std::string const line = text.substr(at, next - at);
        for (char const* kept : {"From:", "To:", "Subject:", "Date:", " ", "\t"})
            if (line.starts_with(kept)) mail.header += line.c_str();
        at = next;
    }
    KCodeC code;
    mail.body = code.jis7tosj(text.c_str() + end + 4);
    return mail;
}

void SendFrom(Mail const& mail, int port, std::atomic<int>& left, std::atomic<int>& refused) {
    MailSend client;
    client.SetSmtpHost("127.0.0.1", port);
    client.SetSenderAddr("a@example.jp");
    client.SetTimeOutTime(30000);
    client.SetTimeOutTimeBeforeConnect(30000);
    CString header = mail.header.Left(mail.header.GetLength() - 2);
    client.SetHeader(header);
    while (left.fetch_sub(1) > 0) {
        client.SetRecipient("b@example.com");
        client.SetMessageID(MailSend::MakeMessageID("measure", 1));
        client.SetBody(mail.body);
        if (client.Send() != 1) ++refused;
    }
}

// What one line of the log costs, over many lines like those of a conversation.
void LogLine() {
    constexpr int lines = 100000;
    LogWriter log;
    Row("transfer log, one line", 1e6 * Best([&] {
                                      for (int i = 0; i < lines; ++i)
                                          log.SetLogData("｜R｜250 2.1.0 Ok: queued as 4F1C22A001\r\n", 1, 0);
                                  }) / lines,
        "us");
}

}  // namespace

void Smtp(std::string const& data, int port, int sessions) {
    platform::SetModuleDirectory(ScratchFolder());
    Mail const mail = Load(data + "/plain.eml");
    std::atomic<int> refused = 0;
    double const seconds = Best(
        [&] {
            std::atomic<int> left = mails;
            std::vector<std::thread> threads;
            for (int i = 0; i < sessions; ++i)
                threads.emplace_back([&] { SendFrom(mail, port, left, refused); });
            for (auto& thread : threads) thread.join();
        },
        peers_runs, peers_budget);
    if (refused > 0) Note(std::to_string(refused) + " mails were not taken");
    Row("SMTP, new connection each, " + std::to_string(sessions) + (sessions > 1 ? " sessions" : " session"),
        mails / seconds, "msg/s");
    if (sessions == 1) LogLine();
}

}  // namespace measure
