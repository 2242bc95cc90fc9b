#include "mqtt/broker_link.h"

#include <arpa/inet.h>
#include <mosquitto.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <random>
#include <utility>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "mqtt/message_json.h"

namespace {

constexpr int QOS = 1;  // at least once; what comes twice is known by its identifier
constexpr int QOS_REFUSED = 0x80;
constexpr int PACKETS = 1;
constexpr const char* ANY_IPV4 = "0.0.0.0";
// In one turn, so that a flood does not keep the owner from its other work.
constexpr int READS_MAX = 256;
constexpr int MQTT_CONNECTED = 0;
constexpr int SESSION_PRESENT = 1;  // flag of the broker's answer
// TCP and TLS together. A modem that has just registered may take half a minute for its first
// answer.
constexpr int64_t CONNECT_MAX_MS = 60'000;
// The library looks at its keep-alive only when it is asked.
constexpr int64_t LOOK_MS = 5000;
// How long sent bytes may stay without an answer: a way that has gone is found out by the next
// message, not by the kernel's quarter of an hour.
constexpr unsigned UNANSWERED_MAX_MS = 90'000;
constexpr size_t REASON_MAX = 200;

// Once for the process, and never undone: other links may be in use when one ends.
void initialiseLibrary() {
    static const int initialised = mosquitto_lib_init();
    static_cast<void>(initialised);
}

uint32_t randomNumber() {
    static std::random_device source;
    return source();
}

void limitSilence(int socket) {
    const unsigned limit = UNANSWERED_MAX_MS;
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &limit, sizeof limit);
}

constexpr const char* ENDED = "the connection was ended";
constexpr int64_t SHORT_MS = 5000;
constexpr const char* ENDED_AT_ONCE =
    "the connection was ended right after it was made; the broker may not know this name, or "
    "another client has it too";
constexpr const char* NOBODY_THERE =
    "the connection was refused; does the broker run at this port?";

// A connection that was refused while TLS began: the library has taken the error and says nothing,
// but poll() returns at once for ever.
bool isGone(int socket) {
    char octet = 0;
    const ssize_t count = recv(socket, &octet, 1, MSG_PEEK | MSG_DONTWAIT);
    return count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR);
}

// TLS errors as OpenSSL says them, and what they mean here.
struct sTlsWords {
    const char* part;
    const char* words;
};
constexpr sTlsWords TLS_WORDS[] = {
    {"certificate verify failed",
     "the broker's certificate was not accepted: it is not signed by an authority in CA_FILE, is "
     "for "
     "another name, or is not valid at this time"},
    {"unknown ca", "the broker does not know the authority of this client's certificate"},
    {"certificate required",
     "the broker asks for a client certificate; set CERT_FILE and KEY_FILE"},
    {"bad certificate", "the broker did not accept this client's certificate"},
    {"certificate revoked", "the broker says that this client's certificate is revoked"},
    {"certificate expired", "the broker says that this client's certificate has expired"},
    {"unknown psk identity", "the broker does not know PSK_IDENTITY"},
    {"wrong version number", "no TLS is spoken at this port"},
};

std::string tlsReason(const std::string& said) {
    for (const sTlsWords& entry : TLS_WORDS)
        if (said.find(entry.part) != std::string::npos) return entry.words;
    if (said.empty()) return "TLS failed";
    return "TLS failed: " + printableLine(said.substr(0, REASON_MAX));
}

const char* connectionRefusal(int code) {
    switch (code) {
        case 1:
            return "the broker does not speak MQTT 3.1.1";
        case 2:
            return "the broker refused the client identifier";
        case 3:
            return "the broker is not ready to serve";
        case 4:
            return "user or password is wrong";
        case 5:
            return "the broker does not allow this client";
        default:
            return "the broker refused the connection";
    }
}

bool isAddress(const std::string& host) {
    in6_addr address{};
    return inet_pton(AF_INET, host.c_str(), &address) == 1 ||
           inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

const char* orNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

}  // namespace

void cBrokerLink::sFree::operator()(struct mosquitto* connection) const {
    mosquitto_destroy(connection);
}

cBrokerLink::cBrokerLink(sBrokerOptions options, sIdentity identity, sHandlers handlers,
                         const sPlaces& places)
    : m_options(std::move(options)),
      m_identity(std::move(identity)),
      m_handlers(std::move(handlers)),
      m_places(places) {
    initialiseLibrary();
}

cBrokerLink::~cBrokerLink() = default;

int cBrokerLink::fd() const {
    return m_connection ? mosquitto_socket(m_connection.get()) : -1;
}

short cBrokerLink::events() const {
    if (!m_connection) return 0;
    // While TLS waits for the broker's answer, what is to be written cannot be written.
    auto* tls = static_cast<SSL*>(mosquitto_ssl_get(m_connection.get()));
    const bool waits = tls && !SSL_is_init_finished(tls) && SSL_want_read(tls);
    if (waits || !mosquitto_want_write(m_connection.get())) return POLLIN;
    return POLLIN | POLLOUT;
}

std::string cBrokerLink::broker() const {
    return brokerText(m_options.brokers[m_broker], m_options.usesTls);
}

void cBrokerLink::turn(short revents, int64_t nowMs) {
    m_nowMs = nowMs;
    m_isTurning = true;
    if (m_state == eState::CONNECTING || m_state == eState::UP) work(revents);
    // A handler may have asked for something else.
    followRequest(nowMs);
    if (m_state == eState::PAUSING && nowMs >= m_dueMs)
        connect(nowMs);
    else if (m_state == eState::CONNECTING || m_state == eState::UP)
        watch(nowMs);
    m_isTurning = false;
    if (m_request != eRequest::NONE) m_dueMs = nowMs;
}

void cBrokerLink::renew() {
    m_request = eRequest::RENEW;
    m_dueMs = 0;
}

void cBrokerLink::goOn() {
    m_request = eRequest::GO_ON;
    m_dueMs = 0;
}

void cBrokerLink::stop() {
    m_request = eRequest::STOP;
    m_dueMs = 0;
    // The connection cannot be taken away from the library while it is calling a handler.
    if (!m_isTurning) followRequest(m_nowMs);
}

void cBrokerLink::followRequest(int64_t nowMs) {
    const eRequest request = std::exchange(m_request, eRequest::NONE);
    if (request == eRequest::NONE || m_state == eState::STOPPED) return;
    if (isUp()) mosquitto_disconnect(m_connection.get());
    m_connection.reset();
    if (request == eRequest::GO_ON) m_broker = (m_broker + 1) % m_options.brokers.size();
    m_state = request == eRequest::STOP ? eState::STOPPED : eState::PAUSING;
    m_dueMs = request == eRequest::STOP ? INT64_MAX : nowMs;
}

void cBrokerLink::connect(int64_t nowMs) {
    m_refusal.clear();
    m_tlsError.clear();
    m_hasMore = false;
    m_state = eState::CONNECTING;
    m_sinceMs = nowMs;
    const std::string problem = prepare();
    if (!problem.empty()) return fail(nowMs, problem);
    const sBrokerAddress& broker = m_options.brokers[m_broker];
    const int result = mosquitto_connect_bind_async(
        m_connection.get(), broker.host.c_str(), brokerPort(broker, m_options.usesTls),
        m_options.keepAliveS, m_isIpv4Only ? ANY_IPV4 : nullptr);
    if (result != MOSQ_ERR_SUCCESS) return fail(nowMs, reason(result));
    limitSilence(fd());
    m_dueMs = nowMs + CONNECT_MAX_MS;
}

// A new connection object; what is wrong with its settings.
std::string cBrokerLink::prepare() {
    m_connection.reset(mosquitto_new(m_identity.clientId.c_str(), !m_identity.keepsSession, this));
    if (!m_connection) return strerror(errno);
    struct mosquitto* connection = m_connection.get();
    mosquitto_connect_with_flags_callback_set(connection, onConnect);
    mosquitto_message_callback_set(connection, onMessage);
    mosquitto_publish_callback_set(connection, onPublish);
    mosquitto_subscribe_callback_set(connection, onSubscribe);
    mosquitto_log_callback_set(connection, onLog);
    mosquitto_int_option(connection, MOSQ_OPT_PROTOCOL_VERSION, MQTT_PROTOCOL_V311);
    mosquitto_int_option(connection, MOSQ_OPT_TCP_NODELAY, 1);
    const std::string will = m_handlers.lastWill ? m_handlers.lastWill() : "";
    if (!will.empty())
        mosquitto_will_set(connection, m_identity.lastWillTopic.c_str(),
                           static_cast<int>(will.size()), will.data(), QOS, true);
    try {
        if (!m_options.user.empty()) {
            const std::string password = m_options.passwordFile.empty()
                                             ? ""
                                             : readSecretLine(m_places.at(m_options.passwordFile));
            mosquitto_username_pw_set(connection, m_options.user.c_str(), orNull(password));
        }
        return m_options.usesTls ? prepareTls() : "";
    } catch (const cFailure& failure) {
        return failure.what();
    }
}

std::string cBrokerLink::prepareTls() {
    struct mosquitto* connection = m_connection.get();
    if (!m_options.pskFile.empty()) {
        const std::string key = readSecretLine(m_places.at(m_options.pskFile));
        const int result =
            mosquitto_tls_psk_set(connection, key.c_str(), m_options.pskIdentity.c_str(), nullptr);
        return result == MOSQ_ERR_SUCCESS ? "" : "the pre-shared key cannot be used";
    }
    const auto placeOf = [this](const std::string& file) {
        return file.empty() ? "" : m_places.at(file);
    };
    const cTlsSession::tContext context = m_tlsSession.newContext(
        m_options.brokers[m_broker].host,
        {placeOf(m_options.caFile), placeOf(m_options.certFile), placeOf(m_options.keyFile)});
    if (!context) return "CA_FILE, CERT_FILE or KEY_FILE cannot be read";
    // The library uses the context as it is, and has a reference of its own.
    mosquitto_int_option(connection, MOSQ_OPT_SSL_CTX_WITH_DEFAULTS, 0);
    mosquitto_void_option(connection, MOSQ_OPT_SSL_CTX, context.get());
    return "";
}

void cBrokerLink::work(short revents) {
    struct mosquitto* connection = m_connection.get();
    int result = MOSQ_ERR_SUCCESS;
    if ((revents & (POLLIN | POLLHUP | POLLERR)) || m_hasMore) result = read();
    if (result == MOSQ_ERR_SUCCESS && fd() != -1 && (revents & POLLOUT))
        result = mosquitto_loop_write(connection, PACKETS);
    if (result == MOSQ_ERR_SUCCESS) result = mosquitto_loop_misc(connection);
    if (result == MOSQ_ERR_SUCCESS && fd() == -1) result = MOSQ_ERR_CONN_LOST;
    if (result == MOSQ_ERR_SUCCESS && (revents & (POLLHUP | POLLERR)) && isGone(fd()))
        return fail(m_nowMs, isUp() ? ENDED : NOBODY_THERE);
    if (result == MOSQ_ERR_SUCCESS && m_refusal.empty()) return;
    fail(m_nowMs, m_refusal.empty() ? reason(result) : m_refusal);
}

// The library reads one packet at a time; what TLS has decrypted already, poll(2) does not see.
int cBrokerLink::read() {
    int result = MOSQ_ERR_SUCCESS;
    int reads = 0;
    do {
        result = mosquitto_loop_read(m_connection.get(), PACKETS);
        m_hasMore = result == MOSQ_ERR_SUCCESS && isMoreThere();
    } while (m_hasMore && ++reads < READS_MAX);
    return result;
}

bool cBrokerLink::isMoreThere() const {
    auto* tls = static_cast<SSL*>(mosquitto_ssl_get(m_connection.get()));
    if (tls && SSL_pending(tls) > 0) return true;
    int waiting = 0;
    return fd() != -1 && ioctl(fd(), FIONREAD, &waiting) == 0 && waiting > 0;
}

// What time brings.
void cBrokerLink::watch(int64_t nowMs) {
    if (m_state == eState::CONNECTING) {
        if (nowMs - m_sinceMs >= CONNECT_MAX_MS)
            return fail(nowMs, "the broker did not answer within a minute");
        m_dueMs = m_sinceMs + CONNECT_MAX_MS;
        return;
    }
    if (nowMs - m_sinceMs >= cReconnectPause::GOOD_MS) m_pause.reset();
    m_dueMs = m_hasMore ? nowMs : nowMs + LOOK_MS;
}

// What is tried next. True if all have been tried, or if it begins anew.
bool cBrokerLink::chooseNext() {
    const bool wasUp = m_state == eState::UP;
    const bool hasAnswered = wasUp || !m_refusal.empty() || !m_tlsError.empty();
    const bool isFirstWay = m_isIpv4Only == m_beginsWithIpv4;
    if (!hasAnswered && isFirstWay && !isAddress(m_options.brokers[m_broker].host)) {
        m_isIpv4Only = !m_beginsWithIpv4;
        return false;
    }
    m_isIpv4Only = m_beginsWithIpv4;
    m_broker = wasUp ? 0 : (m_broker + 1) % m_options.brokers.size();
    return m_broker == 0;
}

// The next broker is tried at once; after the last one comes the pause.
void cBrokerLink::fail(int64_t nowMs, const std::string& why) {
    const bool isShort = m_state == eState::UP && nowMs - m_sinceMs < SHORT_MS;
    const std::string sentence = broker() + ": " + (isShort && why == ENDED ? ENDED_AT_ONCE : why);
    m_connection.reset();
    const bool isRoundOver = chooseNext();
    m_state = eState::PAUSING;
    m_dueMs = isRoundOver ? nowMs + m_pause.next(randomNumber()) : nowMs;
    m_sinceMs = nowMs;
    if (m_handlers.down) m_handlers.down(sentence);
}

std::string cBrokerLink::reason(int error) const {
    switch (error) {
        case MOSQ_ERR_EAI:
        case MOSQ_ERR_LOOKUP:
            return "the name is not known, or no name server answers";
        case MOSQ_ERR_ERRNO:
            return strerror(errno);
        case MOSQ_ERR_TLS:
        case MOSQ_ERR_TLS_HANDSHAKE:
            return tlsReason(m_tlsError);
        case MOSQ_ERR_KEEPALIVE:
            return "the broker did not answer";
        case MOSQ_ERR_CONN_LOST:
            return m_tlsError.empty() ? ENDED : tlsReason(m_tlsError);
        default:
            return mosquitto_strerror(error);
    }
}

int cBrokerLink::publish(const std::string& topic, const std::string& payload, bool isRetained) {
    if (!isUp() || payload.size() > MESSAGE_MAX_BYTES) return -1;
    int messageId = -1;
    const int result =
        mosquitto_publish(m_connection.get(), &messageId, topic.c_str(),
                          static_cast<int>(payload.size()), payload.data(), QOS, isRetained);
    return result == MOSQ_ERR_SUCCESS ? messageId : -1;
}

int cBrokerLink::subscribe(const std::string& filter, eDelivery delivery) {
    if (!isUp()) return -1;
    int messageId = -1;
    const int quality = delivery == eDelivery::AT_LEAST_ONCE ? QOS : 0;
    const int result = mosquitto_subscribe(m_connection.get(), &messageId, filter.c_str(), quality);
    return result == MOSQ_ERR_SUCCESS ? messageId : -1;
}

void cBrokerLink::onConnect(struct mosquitto*, void* self, int code, int flags) {
    auto& link = *static_cast<cBrokerLink*>(self);
    if (code != MQTT_CONNECTED) {
        link.m_refusal = connectionRefusal(code);
        return;
    }
    link.m_state = eState::UP;
    link.m_beginsWithIpv4 = link.m_isIpv4Only;
    link.m_sinceMs = link.m_nowMs;
    if (link.m_handlers.up) link.m_handlers.up(flags & SESSION_PRESENT);
}

void cBrokerLink::onMessage(struct mosquitto*, void* self,
                            const struct mosquitto_message* message) {
    const auto& link = *static_cast<cBrokerLink*>(self);
    if (!link.m_handlers.message || message->payloadlen < 0) return;
    const std::string topic = message->topic;
    const std::string payload(static_cast<const char*>(message->payload),
                              static_cast<size_t>(message->payloadlen));
    // The library does not say whether it is a repetition; identifiers do.
    link.m_handlers.message({topic, payload, message->retain});
}

void cBrokerLink::onPublish(struct mosquitto*, void* self, int messageId) {
    const auto& link = *static_cast<cBrokerLink*>(self);
    if (link.m_handlers.acknowledged) link.m_handlers.acknowledged(messageId);
}

void cBrokerLink::onSubscribe(struct mosquitto*, void* self, int messageId, int count,
                              const int* granted) {
    const auto& link = *static_cast<cBrokerLink*>(self);
    const bool isGranted = count > 0 && granted[0] < QOS_REFUSED;
    if (link.m_handlers.subscribed) link.m_handlers.subscribed(messageId, isGranted);
}

void cBrokerLink::onLog(struct mosquitto*, void* self, int level, const char* text) {
    if (level == MOSQ_LOG_ERR && std::strstr(text, "OpenSSL"))
        static_cast<cBrokerLink*>(self)->m_tlsError = text;
}
