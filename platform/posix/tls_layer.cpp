#include "platform/tls_layer.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>

#include <cerrno>
#include <map>
#include <mutex>
#include <string>

#include "platform/freed_by.h"
#include "tessaly/platform/path.h"
#include "tessaly/platform/socket.h"

namespace platform {
namespace {

using Bio = std::unique_ptr<BIO, FreedBy<BIO_free_all>>;
using Context = std::unique_ptr<SSL_CTX, FreedBy<SSL_CTX_free>>;
using Session = std::unique_ptr<SSL_SESSION, FreedBy<SSL_SESSION_free>>;
using Certificate = std::unique_ptr<X509, FreedBy<X509_free>>;

// --- A stream of bytes over a descriptor that raises no signal; otherwise OpenSSL's own would do ---

int DescriptorOf(BIO* bio) { return static_cast<int>(reinterpret_cast<std::intptr_t>(BIO_get_data(bio))); }

int Write(BIO* bio, char const* data, int size) {
    BIO_clear_retry_flags(bio);
    ssize_t const count = send(DescriptorOf(bio), data, static_cast<std::size_t>(size), MSG_NOSIGNAL);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) BIO_set_retry_write(bio);
    return static_cast<int>(count);
}

int Read(BIO* bio, char* data, int size) {
    BIO_clear_retry_flags(bio);
    ssize_t const count = recv(DescriptorOf(bio), data, static_cast<std::size_t>(size), 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) BIO_set_retry_read(bio);
    return static_cast<int>(count);
}

long Control(BIO*, int command, long, void*) { return command == BIO_CTRL_FLUSH ? 1 : 0; }

BIO_METHOD* Method() {
    static BIO_METHOD* const method = [] {
        BIO_METHOD* made = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "socket");
        BIO_meth_set_write(made, Write);
        BIO_meth_set_read(made, Read);
        BIO_meth_set_ctrl(made, Control);
        return made;
    }();
    return method;
}

// --- Contexts and sessions, for the whole process ---

// Sessions by host, kept as long as their context.
struct Shared {
    Context context;
    std::mutex lock;
    std::map<std::string, Session> sessions;
};

std::string ErrorText() {
    unsigned long const error = ERR_get_error();
    ERR_clear_error();
    char const* const reason = error ? ERR_reason_error_string(error) : nullptr;
    return reason ? reason : "unknown reason";
}

// The data of a connection for the callbacks of OpenSSL.
struct Handshaken {
    Shared* shared = nullptr;
    std::string place;  // of its session
    Certificate shown;
};

int KeepSession(SSL* ssl, SSL_SESSION* session) {
    auto const* const connection = static_cast<Handshaken*>(SSL_get_app_data(ssl));
    if (!SSL_SESSION_is_resumable(session)) return 0;
    std::lock_guard const guard(connection->shared->lock);
    connection->shared->sessions[connection->place] = Session(session);
    return 1;  // this side keeps the session
}

// Keeps the server's certificate; after a failed verification there is no other way to read it.
int SeeCertificate(int good, X509_STORE_CTX* store) {
    auto* const ssl =
        static_cast<SSL*>(X509_STORE_CTX_get_ex_data(store, SSL_get_ex_data_X509_STORE_CTX_idx()));
    auto* const connection = static_cast<Handshaken*>(SSL_get_app_data(ssl));
    X509* const shown = X509_STORE_CTX_get0_cert(store);
    if (shown && !connection->shown && X509_up_ref(shown)) connection->shown.reset(shown);
    return good;
}

Context NewContext(CString const& ca_file, bool verify, std::string& failure) {
    Context context(SSL_CTX_new(TLS_client_method()));
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_options(context.get(), SSL_OP_IGNORE_UNEXPECTED_EOF | SSL_OP_NO_RENEGOTIATION);
    SSL_CTX_set_mode(context.get(), SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    SSL_CTX_sess_set_new_cb(context.get(), KeepSession);
    SSL_CTX_set_verify(context.get(), verify ? SSL_VERIFY_PEER : SSL_VERIFY_NONE, SeeCertificate);
    bool const trusts = ca_file.IsEmpty()
                            ? SSL_CTX_set_default_verify_paths(context.get()) == 1
                            : SSL_CTX_load_verify_file(context.get(), HostPath(ca_file.View()).c_str()) == 1;
    if (trusts || !verify) return context;
    failure = ErrorText();
    return nullptr;
}

// A file of authorities is read once. Contexts stay for the life of the process.
Shared* SharedFor(CString const& ca_file, bool verify, std::string& failure) {
    static std::mutex lock;
    static auto& all = *new std::map<std::pair<std::string, bool>, Shared>;
    std::lock_guard const guard(lock);
    Shared& shared = all[{std::string(ca_file.View()), verify}];
    if (!shared.context) {
        shared.context = NewContext(ca_file, verify, failure);
        if (!shared.context) return nullptr;
    }
    return &shared;
}

// Has the certificate checked against the host, and the host name sent to the server. An empty name would
// switch the check off; the second call refuses it.
bool SetHost(SSL* ssl, CString const& host) {
    SSL_set_hostflags(ssl, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT | X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    if (X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host) == 1) return true;
    return SSL_set1_host(ssl, host) == 1 &&
           SSL_set_tlsext_host_name(ssl, static_cast<char const*>(host)) == 1;
}

// --- Certificates as text ---

CString Contents(BIO* bio) {
    char* data = nullptr;
    long const size = BIO_get_mem_data(bio, &data);
    return size > 0 ? CString(std::string_view(data, static_cast<std::size_t>(size))) : CString();
}

CString NameText(X509_NAME const* name) {
    Bio const out(BIO_new(BIO_s_mem()));
    X509_NAME_print_ex(out.get(), name, 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB);
    return Contents(out.get());
}

CString TimeText(ASN1_TIME const* time) {
    tm parts{};
    if (!ASN1_TIME_to_tm(time, &parts)) return {};
    CString text;
    text.Format("%04d/%02d/%02d %02d:%02d:%02d", parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday,
                parts.tm_hour, parts.tm_min, parts.tm_sec);
    return text;
}

CString HostNames(X509* certificate) {
    std::unique_ptr<GENERAL_NAMES, FreedBy<GENERAL_NAMES_free>> const names(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    CString text;
    for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
        GENERAL_NAME const* const name = sk_GENERAL_NAME_value(names.get(), i);
        if (name->type != GEN_DNS) continue;
        if (!text.IsEmpty()) text += ", ";
        text += std::string_view(reinterpret_cast<char const*>(ASN1_STRING_get0_data(name->d.dNSName)),
                                 static_cast<std::size_t>(ASN1_STRING_length(name->d.dNSName)));
    }
    return text;
}

}  // namespace

struct TlsLayer::Connection : Handshaken {
    std::unique_ptr<SSL, FreedBy<SSL_free>> ssl;
};

TlsLayer::TlsLayer() = default;

TlsLayer::~TlsLayer() { End(); }

void TlsLayer::End() {
    if (!connection_) return;
    SSL_shutdown(connection_->ssl.get());
    ERR_clear_error();
    connection_.reset();
}

TlsFailure TlsLayer::Start(TlsOptions const& options, int descriptor, Waiting const& wait) {
    failure_text_.Empty();
    certificate_ = {};
    std::string failure;
    auto made = std::make_unique<Connection>();
    made->shared = SharedFor(options.ca_file, options.verify, failure);
    if (!made->shared) {
        failure_text_ = failure.c_str();
        return TlsFailure::no_authorities;
    }
    made->place = std::string(options.host.View()) + ":" + std::to_string(options.port);
    made->ssl.reset(SSL_new(made->shared->context.get()));
    SSL* const ssl = made->ssl.get();
    Bio stream(BIO_new(Method()));
    BIO_set_data(stream.get(), reinterpret_cast<void*>(static_cast<std::intptr_t>(descriptor)));
    BIO_set_init(stream.get(), 1);
    BIO* const both = stream.release();
    SSL_set_bio(ssl, both, both);
    SSL_set_app_data(ssl, static_cast<Handshaken*>(made.get()));
    if (!SetHost(ssl, options.host)) {
        ERR_clear_error();
        failure_text_ = "the host name cannot be checked";
        return TlsFailure::handshake;
    }
    {
        std::lock_guard const guard(made->shared->lock);
        auto const known = made->shared->sessions.find(made->place);
        if (known != made->shared->sessions.end()) SSL_set_session(ssl, known->second.get());
    }
    ERR_clear_error();
    connection_ = std::move(made);
    TlsFailure const result = Shake(wait);
    X509* shown = SSL_get0_peer_certificate(ssl);
    if (!shown) shown = connection_->shown.get();
    if (shown)
        certificate_ = {NameText(X509_get_subject_name(shown)), NameText(X509_get_issuer_name(shown)),
                        HostNames(shown), TimeText(X509_get0_notBefore(shown)),
                        TimeText(X509_get0_notAfter(shown))};
    if (result != TlsFailure::none) connection_.reset();
    return result;
}

TlsFailure TlsLayer::Shake(Waiting const& waiting) {
    SSL* const ssl = connection_->ssl.get();
    SSL_set_connect_state(ssl);
    int error = 0, result = 0;
    for (;;) {
        Wait wait = Wait::to_receive;
        result = SSL_do_handshake(ssl);
        if (result == 1) return TlsFailure::none;
        if (Result(result, wait) == 0 || errno != EAGAIN) break;
        if ((error = waiting(wait)) != 0) break;
    }
    if (error == socket_interrupted) return TlsFailure::timed_out;
    long const verified = SSL_get_verify_result(ssl);
    if (verified != X509_V_OK) {
        failure_text_ = X509_verify_cert_error_string(verified);
        ERR_clear_error();
        return TlsFailure::certificate;
    }
    if (error != 0 || SSL_get_error(ssl, result) == SSL_ERROR_SYSCALL) {
        ERR_clear_error();
        failure_text_ = "connection lost";
        return TlsFailure::closed;
    }
    bool const ended = SSL_get_error(ssl, result) == SSL_ERROR_ZERO_RETURN;
    failure_text_ = ErrorText().c_str();
    return ended || failure_text_.Find("unexpected eof") >= 0 ? TlsFailure::closed : TlsFailure::handshake;
}

// The result of a TLS call in the form of a socket call.
long TlsLayer::Result(int result, Wait& wait) {
    int const saved = errno;
    switch (SSL_get_error(connection_->ssl.get(), result)) {
        case SSL_ERROR_NONE: return result;
        case SSL_ERROR_ZERO_RETURN: return 0;
        case SSL_ERROR_WANT_READ:
            wait = Wait::to_receive;
            errno = EAGAIN;
            return -1;
        case SSL_ERROR_WANT_WRITE:
            wait = Wait::to_send;
            errno = EAGAIN;
            return -1;
        case SSL_ERROR_SYSCALL: errno = saved != 0 ? saved : ECONNRESET; return -1;
        default: errno = ECONNABORTED; return -1;
    }
}

long TlsLayer::TrySend(void const* data, int size, Wait& wait) {
    ERR_clear_error();
    errno = 0;
    return Result(SSL_write(connection_->ssl.get(), data, size), wait);
}

long TlsLayer::TryReceive(void* data, int size, Wait& wait) {
    ERR_clear_error();
    errno = 0;
    return Result(SSL_read(connection_->ssl.get(), data, size), wait);
}

bool TlsLayer::HasReceived() const { return connection_ && SSL_pending(connection_->ssl.get()) > 0; }

CString TlsLayer::Parameters() const {
    if (!connection_) return {};
    SSL* const ssl = connection_->ssl.get();
    return CString(SSL_get_version(ssl)) + ", " + SSL_get_cipher_name(ssl) +
           (SSL_session_reused(ssl) ? ", resumed" : "");
}

}  // namespace platform
