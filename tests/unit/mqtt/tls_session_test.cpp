#include "mqtt/tls_session.h"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

// The clock of OpenSSL.
static time_t g_aheadS = 0;

extern "C" time_t time(time_t* stored) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const time_t seconds = now.tv_sec + g_aheadS;
    if (stored != nullptr) *stored = seconds;
    return seconds;
}

namespace {

template <typename tObject, void (*release)(tObject*)>
struct sRelease {
    void operator()(tObject* object) const { release(object); }
};
using tKey = std::unique_ptr<EVP_PKEY, sRelease<EVP_PKEY, EVP_PKEY_free>>;
using tCertificate = std::unique_ptr<X509, sRelease<X509, X509_free>>;
using tConnection = std::unique_ptr<SSL, sRelease<SSL, SSL_free>>;

constexpr long HOUR_S = 3600;

// A key and a certificate for it: its own authority.
struct sAuthority {
    explicit sAuthority(const char* name) : key(EVP_EC_gen("P-256")), certificate(X509_new()) {
        X509* const made = certificate.get();
        X509_set_version(made, X509_VERSION_3);
        ASN1_INTEGER_set(X509_get_serialNumber(made), 1);
        X509_gmtime_adj(X509_getm_notBefore(made), -2 * HOUR_S);
        X509_gmtime_adj(X509_getm_notAfter(made), HOUR_S);
        X509_set_pubkey(made, key.get());
        X509_NAME* const subject = X509_get_subject_name(made);
        X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>(name), -1, -1, 0);
        X509_set_issuer_name(made, subject);
        X509_sign(made, key.get(), EVP_sha256());
    }
    std::string text() const {
        BIO* const memory = BIO_new(BIO_s_mem());
        PEM_write_bio_X509(memory, certificate.get());
        char* data = nullptr;
        const long size = BIO_get_mem_data(memory, &data);
        std::string text(data, static_cast<size_t>(size));
        BIO_free(memory);
        return text;
    }

    tKey key;
    tCertificate certificate;
};

class cBroker {
  public:
    cBroker(const sAuthority& shown, int version) : m_context(SSL_CTX_new(TLS_server_method())) {
        SSL_CTX_set_min_proto_version(m_context.get(), version);
        SSL_CTX_set_max_proto_version(m_context.get(), version);
        SSL_CTX_use_certificate(m_context.get(), shown.certificate.get());
        SSL_CTX_use_PrivateKey(m_context.get(), shown.key.get());
    }
    SSL_CTX* context() const { return m_context.get(); }

  private:
    cTlsSession::tContext m_context;
};

enum class eEnd { IN_ORDER, BROKEN };

// "resumed", "full", or why there was no connection.
std::string connect(cTlsSession& session, const cBroker& broker, const std::string& host,
                    const std::string& ca, eEnd end = eEnd::BROKEN) {
    const cTlsSession::tContext context = session.newContext(host, {ca, "", ""});
    if (!context) return "no context";
    const tConnection client(SSL_new(context.get()));
    const tConnection server(SSL_new(broker.context()));
    BIO* clientEnd = nullptr;
    BIO* serverEnd = nullptr;
    BIO_new_bio_pair(&clientEnd, 0, &serverEnd, 0);
    SSL_set_bio(client.get(), clientEnd, clientEnd);
    SSL_set_bio(server.get(), serverEnd, serverEnd);
    SSL_set_connect_state(client.get());
    SSL_set_accept_state(server.get());
    for (int turn = 0; turn < 10; ++turn) {
        SSL_do_handshake(client.get());
        const unsigned long error = ERR_peek_error();
        if (error != 0) {
            ERR_clear_error();
            return ERR_reason_error_string(error);
        }
        SSL_do_handshake(server.get());
    }
    char octet = 'x';
    SSL_write(server.get(), &octet, 1);
    // With it come the tickets of TLS 1.3.
    if (SSL_read(client.get(), &octet, 1) != 1) return "no octet";
    if (end == eEnd::IN_ORDER) SSL_shutdown(client.get());
    EXPECT_EQ(session.isResumed(), SSL_session_reused(server.get()) == 1);
    return session.isResumed() ? "resumed" : "full";
}

class TlsSession : public testing::TestWithParam<int> {
  protected:
    TlsSession() { writeFile(ca, authority.text()); }
    ~TlsSession() override { g_aheadS = 0; }

    const cTempFolder folder;
    const std::string ca = folder / "ca.crt";
    const sAuthority authority{"broker"};
    cBroker broker{authority, GetParam()};
    cTlsSession session;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(EachVersion, TlsSession, testing::Values(TLS1_2_VERSION, TLS1_3_VERSION));

TEST_P(TlsSession, ConnectionsOneAfterTheOther_AreResumed) {
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
    for (const eEnd end : {eEnd::BROKEN, eEnd::IN_ORDER, eEnd::BROKEN, eEnd::BROKEN})
        EXPECT_EQ(connect(session, broker, "broker", ca, end), "resumed");
}

TEST_P(TlsSession, BrokerThatDoesNotKnowTheSession_ShowsItsCertificate) {
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
    const cBroker restarted(authority, GetParam());
    EXPECT_EQ(connect(session, restarted, "broker", ca), "full");
    EXPECT_EQ(connect(session, restarted, "broker", ca), "resumed");
}

TEST_P(TlsSession, AnotherBrokerWithAWrongCertificate_IsRefused) {
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
    const sAuthority other("broker");
    const cBroker wrong(other, GetParam());
    EXPECT_EQ(connect(session, wrong, "broker", ca), "certificate verify failed");
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
}

TEST_P(TlsSession, CertificateForAnotherName_IsRefused) {
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
    EXPECT_EQ(connect(session, broker, "other", ca), "certificate verify failed");
    EXPECT_EQ(connect(session, broker, "127.0.0.1", ca), "certificate verify failed");
}

// Else a broker would be trusted whose authority is trusted no longer.
TEST_P(TlsSession, OtherAuthorities_TheBrokerShowsItsCertificateAgain) {
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
    writeFile(ca, sAuthority("other").text());
    EXPECT_EQ(connect(session, broker, "broker", ca), "certificate verify failed");
    writeFile(ca, authority.text());
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
}

TEST_P(TlsSession, CertificateThatHasExpiredMeanwhile_IsRefused) {
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
    g_aheadS = HOUR_S / 2;
    EXPECT_EQ(connect(session, broker, "broker", ca), "resumed");
    g_aheadS = HOUR_S + 60;
    EXPECT_EQ(connect(session, broker, "broker", ca), "certificate verify failed");
}

TEST_P(TlsSession, SessionThatWasOffered_IsOfferedOnce) {
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
    {
        const cTlsSession::tContext context = session.newContext("broker", {ca, "", ""});
        const tConnection client(SSL_new(context.get()));
        BIO* const nobody = BIO_new(BIO_s_mem());
        SSL_set_bio(client.get(), nobody, nobody);
        EXPECT_EQ(SSL_connect(client.get()), -1);
        ERR_clear_error();
    }
    EXPECT_EQ(connect(session, broker, "broker", ca), "full");
}

TEST(TlsSessionFiles, FileThatCannotBeRead_NoContext) {
    cTlsSession session;
    EXPECT_EQ(session.newContext("broker", {"/nonexistent", "", ""}), nullptr);
    EXPECT_EQ(ERR_peek_error(), 0U);
}
