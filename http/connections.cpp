#include "http/connections.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace {

constexpr long long REQUEST_S = 10;
// 60 kB, the largest file, through a mobile network of the second generation.
constexpr long long ANSWER_S = 60;
constexpr long long IDLE_S = 15;
constexpr unsigned UNACKNOWLEDGED_MS = 30000;

long long limitS(cConnections::eStep step) {
    switch (step) {
        case cConnections::eStep::REQUEST:
            return REQUEST_S;
        case cConnections::eStep::ANSWER:
            return ANSWER_S;
        case cConnections::eStep::IDLE:
            return IDLE_S;
        case cConnections::eStep::UNLIMITED:
            break;
    }
    return 0;
}

}  // namespace

cConnections::sConnection* cConnections::open(int socket, long long nowS) {
    // Without them the connection works too.
    setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &m_sendBuffer, sizeof m_sendBuffer);
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &UNACKNOWLEDGED_MS, sizeof UNACKNOWLEDGED_MS);
    m_open.push_back({socket, 0});
    begin(m_open.back(), eStep::REQUEST, nowS);
    return &m_open.back();
}

void cConnections::close(sConnection* connection) {
    m_open.remove_if([connection](const sConnection& other) { return &other == connection; });
}

void cConnections::begin(sConnection& connection, eStep step, long long nowS) {
    const long long limit = limitS(step);
    connection.endS = limit == 0 ? 0 : nowS + limit;
}

void cConnections::cutOff(long long nowS) {
    for (sConnection& connection : m_open)
        if (connection.endS != 0 && connection.endS <= nowS) cutOff(connection);
}

void cConnections::cutOff(sConnection& connection) {
    // The library sees the end and closes the connection.
    shutdown(connection.socket, SHUT_RDWR);
    connection.endS = 0;
}
