#include "mqtt/tls_session.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>

#include <cstdint>
#include <utility>

namespace {

// Each context has its cTlsSession there.
int ownerIndex() {
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
}

cTlsSession& ownerOf(const SSL* connection) {
    return *static_cast<cTlsSession*>(
        SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), ownerIndex()));
}

// A key with a pass phrase would be asked for at a terminal.
int noPhrase(char*, int, int, void*) {
    return 0;
}

bool requireName(SSL_CTX* context, const std::string& host) {
    X509_VERIFY_PARAM* const rules = SSL_CTX_get0_param(context);
    X509_VERIFY_PARAM_set_hostflags(rules, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    return X509_VERIFY_PARAM_set1_ip_asc(rules, host.c_str()) == 1 ||
           X509_VERIFY_PARAM_set1_host(rules, host.data(), host.size()) == 1;
}

bool useFiles(SSL_CTX* context, const cTlsSession::sFiles& files) {
    if (SSL_CTX_load_verify_locations(context, files.ca.c_str(), nullptr) != 1) return false;
    if (files.cert.empty()) return true;
    return SSL_CTX_use_certificate_chain_file(context, files.cert.c_str()) == 1 &&
           SSL_CTX_use_PrivateKey_file(context, files.key.c_str(), SSL_FILETYPE_PEM) == 1 &&
           SSL_CTX_check_private_key(context) == 1;
}

// Another text whenever the file is another one or was written.
std::string versionOf(const std::string& path) {
    struct stat info {};
    if (path.empty() || stat(path.c_str(), &info) != 0) return path + "\n";
    std::string text = path;
    for (const int64_t number :
         {static_cast<int64_t>(info.st_dev), static_cast<int64_t>(info.st_ino),
          static_cast<int64_t>(info.st_size), static_cast<int64_t>(info.st_ctim.tv_sec),
          static_cast<int64_t>(info.st_ctim.tv_nsec)})
        text += " " + std::to_string(number);
    return text + "\n";
}

// The broker's certificate is looked at only when it shows it.
bool isCertificateInTime(const SSL_SESSION* session) {
    const X509* const certificate = SSL_SESSION_get0_peer(const_cast<SSL_SESSION*>(session));
    return certificate != nullptr && X509_cmp_current_time(X509_get0_notAfter(certificate)) > 0;
}

}  // namespace

void cTlsSession::sFree::operator()(ssl_ctx_st* context) const {
    SSL_CTX_free(context);
}

void cTlsSession::sFree::operator()(ssl_session_st* session) const {
    SSL_SESSION_free(session);
}

cTlsSession::tContext cTlsSession::newContext(const std::string& host, const sFiles& files) {
    const std::string peer =
        host + "\n" + versionOf(files.ca) + versionOf(files.cert) + versionOf(files.key);
    if (peer != m_peer) m_session.reset();
    m_peer = peer;
    tContext context(SSL_CTX_new(TLS_client_method()));
    if (!context || SSL_CTX_set_ex_data(context.get(), ownerIndex(), this) != 1) return nullptr;
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION);
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_default_passwd_cb(context.get(), noPhrase);
    SSL_CTX_set_session_cache_mode(context.get(),
                                   SSL_SESS_CACHE_CLIENT | SSL_SESS_CACHE_NO_INTERNAL);
    SSL_CTX_sess_set_new_cb(context.get(), onNewSession);
    SSL_CTX_set_info_callback(context.get(), onState);
    const bool isReady = requireName(context.get(), host) && useFiles(context.get(), files);
    ERR_clear_error();  // of what was tried: it would count as one of the connection
    return isReady ? std::move(context) : nullptr;
}

void cTlsSession::onState(const ssl_st* connection, int where, int) {
    // The interface of OpenSSL has it const, and connections are not.
    auto* const changed = const_cast<SSL*>(connection);
    if (where & SSL_CB_HANDSHAKE_START) ownerOf(connection).offer(changed);
    if (where & SSL_CB_HANDSHAKE_DONE) ownerOf(connection).noteHandshake(changed);
}

int cTlsSession::onNewSession(ssl_st* connection, ssl_session_st* session) {
    ownerOf(connection).keep(session);
    return 0;  // a reference to it is not kept
}

// OpenSSL gives up the session of a connection that ends without a word, which TLS no longer asks
// for (RFC 5246, section 7.2.1). That is how a line breaks, so this is a copy.
void cTlsSession::keep(const ssl_session_st* session) {
    m_session.reset(SSL_SESSION_dup(session));
}

// If the handshake fails there is none for the next one.
void cTlsSession::offer(ssl_st* connection) {
    if (m_session && isCertificateInTime(m_session.get()))
        SSL_set_session(connection, m_session.get());
    m_session.reset();
}

void cTlsSession::noteHandshake(ssl_st* connection) {
    m_isResumed = SSL_session_reused(connection) == 1;
    // In TLS 1.2 a session that was resumed stays the same.
    if (m_isResumed && SSL_version(connection) == TLS1_2_VERSION) keep(SSL_get_session(connection));
}
