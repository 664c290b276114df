#include "protocol/tls_socket.h"

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <signal.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/freed_by.h"
#include "tests/platform/scratch_folder.h"
#include "tests/support/scripted_server.h"

namespace {

using platform::TlsFailure;

constexpr unsigned limit_ms = 4000;
constexpr char const* name = "mail.shop.example";

using platform::FreedBy;
using Key = std::unique_ptr<EVP_PKEY, FreedBy<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, FreedBy<X509_free>>;
using Context = std::unique_ptr<SSL_CTX, FreedBy<SSL_CTX_free>>;

// A certificate that is its own authority, with `subject` for its common name.
Certificate CertificateOf(EVP_PKEY* key, char const* subject, std::string const& names) {
    Certificate certificate(X509_new());
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    ASN1_TIME_set_string_X509(X509_getm_notBefore(certificate.get()), "20010203040506Z");
    ASN1_TIME_set_string_X509(X509_getm_notAfter(certificate.get()), "21001231235958Z");
    X509_NAME* const own = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(own, "CN", MBSTRING_UTF8, reinterpret_cast<unsigned char const*>(subject), -1,
                               -1, 0);
    X509_set_issuer_name(certificate.get(), own);
    X509_set_pubkey(certificate.get(), key);
    if (!names.empty()) {
        std::unique_ptr<X509_EXTENSION, FreedBy<X509_EXTENSION_free>> const extension(
            X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, names.c_str()));
        X509_add_ext(certificate.get(), extension.get(), -1);
    }
    X509_sign(certificate.get(), key, EVP_sha256());
    return certificate;
}

// Makes the handshake with each client in turn and waits until the client closes.
class TlsPeer {
  public:
    // Writes the certificate to `file` (PEM).
    TlsPeer(std::string const& names, std::string const& file, int clients = 1)
        : key_(EVP_EC_gen("P-256")), context_(SSL_CTX_new(TLS_server_method())) {
        Certificate const certificate = CertificateOf(key_.get(), name, names);
        SSL_CTX_use_certificate(context_.get(), certificate.get());
        SSL_CTX_use_PrivateKey(context_.get(), key_.get());
        std::unique_ptr<BIO, FreedBy<BIO_free_all>> const out(BIO_new_file(file.c_str(), "w"));
        PEM_write_bio_X509(out.get(), certificate.get());
        thread_ = std::thread([this, clients] {
            sigset_t pipe;  // a client that closes during the handshake
            sigemptyset(&pipe);
            sigaddset(&pipe, SIGPIPE);
            pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
            for (int i = 0; i < clients; ++i) Serve();
        });
    }
    ~TlsPeer() { thread_.join(); }
    int Port() const { return listener_.Port(); }

  private:
    void Serve() const {
        pollfd waiting{listener_.Descriptor(), POLLIN, 0};
        if (::poll(&waiting, 1, test::deadline_ms) <= 0) return;
        int const client = ::accept4(listener_.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
        constexpr timeval limit{test::deadline_ms / 1000, 0};
        ::setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        std::unique_ptr<SSL, FreedBy<SSL_free>> const ssl(SSL_new(context_.get()));
        SSL_set_fd(ssl.get(), client);
        char byte;
        if (SSL_accept(ssl.get()) == 1)
            while (SSL_read(ssl.get(), &byte, 1) > 0) {
            }
        ::close(client);
    }

    test::ListeningSocket listener_;
    Key key_;
    Context context_;
    std::thread thread_;
};

TlsFailure Shake(TlsSocket& socket, int port, CString const& host, CString const& authorities) {
    EXPECT_TRUE(socket.Create());
    EXPECT_TRUE(socket.ConnectWithin("127.0.0.1", static_cast<unsigned>(port), limit_ms));
    return socket.StartTls({host, static_cast<unsigned>(port), authorities, true}, limit_ms);
}

// RFC 9525: only the subject alternative names count, and "*" stands for a whole label.
TEST(TlsSocket, TheNameThatACertificateMustBear) {
    std::string const too_long(300, 'x');
    const struct {
        char const *names, *host;
        TlsFailure failure;
    } rows[] = {
        {"DNS:mail.shop.example", name, TlsFailure::none},
        {"DNS:other.example,DNS:MAIL.shop.example", name, TlsFailure::none},
        {"DNS:*.shop.example", name, TlsFailure::none},
        {"DNS:m*.shop.example", name, TlsFailure::certificate},
        {"DNS:*l.shop.example", name, TlsFailure::certificate},
        {"DNS:*.example", name, TlsFailure::certificate},
        {"DNS:other.example", name, TlsFailure::certificate},
        {"", name, TlsFailure::certificate},
        {"email:x@mail.shop.example", name, TlsFailure::certificate},
        {"IP:127.0.0.1", name, TlsFailure::certificate},
        {"IP:127.0.0.1", "127.0.0.1", TlsFailure::none},
        {"IP:127.0.0.1", "127.0.0.2", TlsFailure::certificate},
        {"DNS:mail.shop.example", "", TlsFailure::handshake},
        {"DNS:mail.shop.example", too_long.c_str(), TlsFailure::handshake},
    };
    ScratchFolder const scratch;
    for (auto const& row : rows) {
        std::string const file = std::to_string(&row - rows) + ".pem";
        TlsPeer const peer(row.names, scratch.Host(file));
        TlsSocket socket;
        EXPECT_EQ(Shake(socket, peer.Port(), row.host, scratch.Path(file.c_str())), row.failure)
            << row.names << " " << row.host << ": " << socket.FailureText();
        EXPECT_EQ(socket.IsSecure(), row.failure == TlsFailure::none);
        EXPECT_EQ(socket.FailureText().IsEmpty(), row.failure == TlsFailure::none);
        socket.Close();
    }
}

TEST(TlsSocket, ShowsTheCertificateAndIsClosedAsTheSocketThatItIs) {
    ScratchFolder const scratch;
    TlsPeer const peer("DNS:a.example,DNS:mail.shop.example", scratch.Host("ca.pem"), 2);
    TlsSocket socket;
    CSocket& base = socket;
    for (int turn = 0; turn < 2; ++turn) {
        ASSERT_EQ(Shake(socket, peer.Port(), name, scratch.Path("ca.pem")), TlsFailure::none) << turn;
        platform::TlsCertificate const& shown = socket.Certificate();
        EXPECT_EQ(shown.subject, "CN = mail.shop.example");
        EXPECT_EQ(shown.issuer, shown.subject);
        EXPECT_EQ(shown.names, "a.example, mail.shop.example");
        EXPECT_EQ(shown.valid_from, "2001/02/03 04:05:06");
        EXPECT_EQ(shown.valid_until, "2100/12/31 23:59:58");
        base.Close();
        EXPECT_FALSE(socket.IsSecure());
    }
}

}  // namespace
