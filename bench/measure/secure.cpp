// Sending over TLS, beside libcurl, to a server in this process that takes everything: four threads, a mail
// of 2 KB, a new connection for each mail or one for all of a thread.
#include <curl/curl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <tessaly/delivery.h>
#include <tessaly/storage.h>
#include <tessaly/text.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "measure.h"
#include "tessaly/platform/path.h"
#include "tessaly/platform/process.h"

namespace measure {
namespace {

constexpr int threads = 4, mails = 4000, kept_mails = 40000;

// Serves each connection in a thread of its own, until the process ends.
class Sink {
  public:
    Sink() {
        std::signal(SIGPIPE, SIG_IGN);
        std::string const make =
            "cd '" + ScratchFolder() +
            "' && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 "
            "-keyout key.pem -out cert.pem -subj /CN=sink -addext "
            "subjectAltName=IP:127.0.0.1,DNS:localhost 2>/dev/null";
        context_ = SSL_CTX_new(TLS_server_method());
        if (std::system(make.c_str()) != 0 ||
            SSL_CTX_use_certificate_file(context_, CertificateFile().c_str(), SSL_FILETYPE_PEM) != 1 ||
            SSL_CTX_use_PrivateKey_file(context_, (ScratchFolder() + "/key.pem").c_str(), SSL_FILETYPE_PEM) !=
                1)
            throw std::runtime_error("no certificate");
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        listener_ = socket(AF_INET, SOCK_STREAM, 0);
        bind(listener_, reinterpret_cast<sockaddr*>(&address), size);
        listen(listener_, 128);
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size);
        port_ = ntohs(address.sin_port);
        for (int i = 0; i < 2 * threads; ++i) std::thread([this] { Serve(); }).detach();
    }
    int Port() const { return port_; }
    static std::string CertificateFile() { return ScratchFolder() + "/cert.pem"; }

  private:
    void Serve() const {
        for (;;) {
            int const client = accept(listener_, nullptr, nullptr), on = 1;
            if (client < 0) return;
            setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
            SSL* const ssl = SSL_new(context_);
            SSL_set_fd(ssl, client);
            if (SSL_accept(ssl) == 1) Converse(ssl);
            SSL_shutdown(ssl);
            SSL_free(ssl);
            close(client);
        }
    }
    static void Converse(SSL* ssl) {
        auto const say = [&](std::string_view reply) {
            return SSL_write(ssl, reply.data(), static_cast<int>(reply.size())) > 0;
        };
        std::string buffer;
        char block[16384];
        bool in_mail = false;
        if (!say("220 sink\r\n")) return;
        for (;;) {
            std::string_view const end = in_mail ? "\r\n.\r\n" : "\r\n";
            std::size_t const found = buffer.find(end);
            if (found == buffer.npos) {
                int const count = SSL_read(ssl, block, sizeof block);
                if (count <= 0) return;
                buffer.append(block, static_cast<std::size_t>(count));
                continue;
            }
            bool const quits = buffer.starts_with("QUIT"), begins = !in_mail && buffer.starts_with("DATA");
            buffer.erase(0, found + end.size());
            in_mail = begins;
            if (!say(begins ? "354 go\r\n" : quits ? "221 bye\r\n" : "250 ok\r\n") || quits) return;
        }
    }

    SSL_CTX* context_;
    int listener_ = -1, port_ = 0;
};

std::string Message() {
    std::string text = "From: a@example.jp\r\nTo: b@example.com\r\nSubject: measure\r\n\r\n";
    while (text.size() < 2048) text += "The quick brown fox jumps over the lazy dog.\r\n";
    return text;
}

template <class Work>
double Rate(int count, Work work) {
    std::atomic<int> left{count}, failed{0};
    double const began = Now();
    std::vector<std::thread> pool;
    for (int i = 0; i < threads; ++i) pool.emplace_back([&] { work(left, failed); });
    for (std::thread& thread : pool) thread.join();
    if (failed > 0) throw std::runtime_error(std::to_string(failed) + " mails failed");
    return count / (Now() - began);
}

void ByLibrary(int port, bool keeps, std::atomic<int>& left, std::atomic<int>& failed) {
    CMySMTPS client;
    auto const set = [&](int property, platform::ComponentValue const& value) {
        SMTPS_Set(client.Handle(), property, 0, value, 0);
    };
    CString const message(Message().c_str());
    set(smtps_server, "127.0.0.1");
    set(smtps_port, port);
    set(smtps_security, protocol::security_tls);
    set(smtps_ca_file, platform::LibraryPath(Sink::CertificateFile()));
    set(smtps_keep_connection, keeps ? 1 : 0);
    set(smtps_from, "a@example.jp");
    set(smtps_recipients, "b@example.com");
    while (left-- > 0) {
        set(smtps_message, message);
        failed += SMTPS_Do(client.Handle(), smtps_send, 0, nullptr, nullptr) != 0;
    }
    SMTPS_Do(client.Handle(), smtps_disconnect, 0, nullptr, nullptr);
}

struct Source {
    std::string text;
    std::size_t at = 0;
};

std::size_t Give(char* out, std::size_t size, std::size_t count, void* self) {
    auto* const source = static_cast<Source*>(self);
    std::size_t const given = source->text.copy(out, size * count, source->at);
    source->at += given;
    return given;
}

void ByCurl(int port, bool keeps, std::atomic<int>& left, std::atomic<int>& failed) {
    CURL* const curl = curl_easy_init();
    curl_slist* const to = curl_slist_append(nullptr, "<b@example.com>");
    Source source{Message()};
    std::string const address = "smtps://127.0.0.1:" + std::to_string(port) + "/client",
                      file = Sink::CertificateFile();
    curl_easy_setopt(curl, CURLOPT_URL, address.c_str());
    curl_easy_setopt(curl, CURLOPT_CAINFO, file.c_str());
    curl_easy_setopt(curl, CURLOPT_MAIL_FROM, "<a@example.jp>");
    curl_easy_setopt(curl, CURLOPT_MAIL_RCPT, to);
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, Give);
    curl_easy_setopt(curl, CURLOPT_READDATA, &source);
    curl_easy_setopt(curl, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(curl, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(source.text.size()));
    curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, keeps ? 0L : 1L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    while (left-- > 0) {
        source.at = 0;
        failed += curl_easy_perform(curl) != CURLE_OK;
    }
    curl_slist_free_all(to);
    curl_easy_cleanup(curl);
}

}  // namespace

void Secure() {
    Sink const sink;
    curl_global_init(CURL_GLOBAL_DEFAULT);
    platform::SetModuleDirectory(ScratchFolder());  // for the transfer log
    for (int round = 0; round < 2; ++round) {
        for (bool const keeps : {false, true}) {
            std::string const how = keeps ? "SMTP over TLS, connections kept, 4 threads"
                                          : "SMTP over TLS, new connection each, 4 threads";
            int const count = keeps ? kept_mails : mails;
            Row(how,
                Rate(count, [&](auto& left, auto& failed) { ByLibrary(sink.Port(), keeps, left, failed); }),
                "msg/s");
            Row(how + ", libcurl",
                Rate(count, [&](auto& left, auto& failed) { ByCurl(sink.Port(), keeps, left, failed); }),
                "msg/s");
        }
    }
}

}  // namespace measure
