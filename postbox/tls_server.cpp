#include "postbox/tls_server.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <csignal>

#include "platform/freed_by.h"
#include "postbox/error.h"

namespace postbox {
namespace {

using platform::FreedBy;
using Key = std::unique_ptr<EVP_PKEY, FreedBy<EVP_PKEY_free>>;
using CertificateOwner = std::unique_ptr<X509, FreedBy<X509_free>>;

constexpr long days_valid = 30, seconds_of_day = 24 * 60 * 60;

void Require(bool done) {
    if (!done) throw Error("証明書を作れませんでした。");
}

void Extend(X509* certificate, int kind, char const* value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    std::unique_ptr<X509_EXTENSION, FreedBy<X509_EXTENSION_free>> const extension(
        X509V3_EXT_conf_nid(nullptr, &context, kind, value));
    Require(extension && X509_add_ext(certificate, extension.get(), -1));
}

CertificateOwner CertificateOf(EVP_PKEY* key) {
    CertificateOwner certificate(X509_new());
    unsigned char serial[8];
    Require(certificate && RAND_bytes(serial, sizeof serial) == 1);
    serial[0] &= 0x7F;
    std::unique_ptr<BIGNUM, FreedBy<BN_free>> const number(BN_bin2bn(serial, sizeof serial, nullptr));
    X509_set_version(certificate.get(), X509_VERSION_3);
    BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate.get()));
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), days_valid * seconds_of_day);
    X509_NAME* const name = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                               reinterpret_cast<unsigned char const*>("Tessaly post box"), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    X509_set_pubkey(certificate.get(), key);
    Extend(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
    Extend(certificate.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1");
    Require(X509_sign(certificate.get(), key, EVP_sha256()) != 0);
    return certificate;
}

std::string Pem(X509* certificate) {
    std::unique_ptr<BIO, FreedBy<BIO_free_all>> const out(BIO_new(BIO_s_mem()));
    Require(out && PEM_write_bio_X509(out.get(), certificate) == 1);
    char* data = nullptr;
    long const size = BIO_get_mem_data(out.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

}  // namespace

struct TlsServer::Identity {
    std::unique_ptr<SSL_CTX, FreedBy<SSL_CTX_free>> context{SSL_CTX_new(TLS_server_method())};
};

struct TlsStream::Session {
    std::unique_ptr<SSL, FreedBy<SSL_free>> ssl;
};

TlsServer::TlsServer() : identity_(std::make_unique<Identity>()) {
    std::signal(SIGPIPE, SIG_IGN);  // a peer that leaves ends its own connection only
    Key const key(EVP_EC_gen("P-256"));
    Require(identity_->context && key);
    CertificateOwner const certificate = CertificateOf(key.get());
    SSL_CTX* const context = identity_->context.get();
    SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
    Require(SSL_CTX_use_certificate(context, certificate.get()) == 1 &&
            SSL_CTX_use_PrivateKey(context, key.get()) == 1);
    certificate_ = Pem(certificate.get());
}

TlsServer::~TlsServer() = default;

std::unique_ptr<TlsStream> TlsServer::Accept(int descriptor) const {
    auto session = std::make_unique<TlsStream::Session>();
    session->ssl.reset(SSL_new(identity_->context.get()));
    SSL_set_fd(session->ssl.get(), descriptor);
    ERR_clear_error();
    if (SSL_accept(session->ssl.get()) != 1) return nullptr;
    return std::make_unique<TlsStream>(std::move(session));
}

TlsStream::TlsStream(std::unique_ptr<Session> session) : session_(std::move(session)) {}

TlsStream::~TlsStream() {
    SSL_shutdown(session_->ssl.get());
    ERR_clear_error();
}

long TlsStream::Read(void* data, std::size_t size) {
    ERR_clear_error();
    return SSL_read(session_->ssl.get(), data, static_cast<int>(size));
}

long TlsStream::Write(void const* data, std::size_t size) {
    ERR_clear_error();
    return SSL_write(session_->ssl.get(), data, static_cast<int>(size));
}

bool TlsStream::HasReceived() const { return SSL_pending(session_->ssl.get()) > 0; }

}  // namespace postbox
