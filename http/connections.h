#ifndef HTTP_CONNECTIONS_H
#define HTTP_CONNECTIONS_H

#include <cstddef>
#include <list>

// The open connections, each with the time by which it must have done its next step. The library
// ends a connection that is silent; one that sends a byte now and then only this does.
class cConnections {
  public:
    enum class eStep {
        REQUEST,   // the client sends its request; before that the encryption is set up
        ANSWER,    // the client takes the answer
        IDLE,      // the client may send another request
        UNLIMITED  // a stream, which has its own supervision
    };

    struct sConnection {
        int socket;
        long long endS;  // 0: unlimited
    };

    // sendBuffer: what a client that is gone or does not read costs the kernel, in bytes.
    explicit cConnections(int sendBuffer = SEND_BUFFER) : m_sendBuffer(sendBuffer) {}

    static constexpr int SEND_BUFFER = 32 * 1024;

    sConnection* open(int socket, long long nowS);
    void close(sConnection* connection);
    static void begin(sConnection& connection, eStep step, long long nowS);

    // Cuts off those whose time is over.
    void cutOff(long long nowS);
    static void cutOff(sConnection& connection);

    size_t count() const { return m_open.size(); }

  private:
    const int m_sendBuffer;
    std::list<sConnection> m_open;
};

#endif
