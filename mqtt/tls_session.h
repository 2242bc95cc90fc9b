#ifndef MQTT_TLS_SESSION_H
#define MQTT_TLS_SESSION_H

#include <memory>
#include <string>

// OpenSSL's.
struct ssl_ctx_st;
struct ssl_session_st;
struct ssl_st;

// TLS to a broker that shows a certificate. The next connection resumes the session of the last one
// (RFC 8446, section 2.2; RFC 5077): it takes half the bytes, and neither side signs anything. A
// session is offered once, to the same host with the same files: the broker does not show its
// certificate again.
class cTlsSession {
  public:
    struct sFiles {
        std::string ca;
        std::string cert, key;  // empty: none
    };
    struct sFree {
        void operator()(ssl_ctx_st* context) const;
        void operator()(ssl_session_st* session) const;
    };
    using tContext = std::unique_ptr<ssl_ctx_st, sFree>;

    cTlsSession() = default;
    // Contexts point to it.
    cTlsSession(const cTlsSession&) = delete;
    cTlsSession& operator=(const cTlsSession&) = delete;

    // For one connection to a host, a name or an address, whose certificate must be valid for it
    // and signed by an authority in the file. Null if a file cannot be read. The connection must
    // end before this object.
    tContext newContext(const std::string& host, const sFiles& files);

    // Whether the last handshake that was completed resumed a session.
    bool isResumed() const { return m_isResumed; }

  private:
    static void onState(const ssl_st* connection, int where, int result);
    static int onNewSession(ssl_st* connection, ssl_session_st* session);

    void keep(const ssl_session_st* session);
    void offer(ssl_st* connection);
    void noteHandshake(ssl_st* connection);

    std::unique_ptr<ssl_session_st, sFree> m_session;
    std::string m_peer;  // host and files of the session, and of the connection
    bool m_isResumed = false;
};

#endif
