#include "http/server.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <list>
#include <memory>

#include "cli/base/end_signals.h"
#include "cli/base/failure.h"
#include "cli/base/system_failure.h"
#include "http/connections.h"
#include "http/jobs.h"
#include "http/password.h"
#include "http/readers.h"
#include "http/site.h"

namespace {

constexpr unsigned LOCAL_CONNECTIONS_MAX = 256;
constexpr unsigned CONNECTIONS_MAX = 64;         // from other hosts: each has a TLS session
constexpr unsigned CONNECTIONS_OF_ONE_MAX = 24;  // of one address
// For the head of a request and of its answer. Browsers send cookies of other servers on this host.
constexpr size_t CONNECTION_MEMORY = 8 * 1024;
constexpr unsigned SILENCE_MAX_S = 30;
constexpr int LOOK_MS = 500;  // between two looks at the slots while somebody reads the stream
constexpr int TICK_MS = 1000;
constexpr int END_ROUNDS = 50;
// Answers that clients have not taken yet; a single one may be longer.
constexpr size_t SENDING_MAX = 128 * 1024 * 1024;
constexpr unsigned TOO_BUSY = 503;
constexpr const char* TLS_PRIORITIES = "SECURE128:-VERS-TLS1.0:-VERS-TLS1.1:-RSA";

long long monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

long long monotonicS() {
    return monotonicMs() / 1000;
}

std::string headerText(MHD_Connection* connection, const char* name) {
    const char* value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value == nullptr ? "" : value;
}

MHD_Result addToQuery(void* argument, MHD_ValueKind /*kind*/, const char* key, const char* value) {
    auto& request = *static_cast<sHttpRequest*>(argument);
    if (!request.query.emplace(key, value == nullptr ? "" : value).second) request.repeated = key;
    return MHD_YES;
}

// An IPv6 client has a whole /64 to choose from.
std::string clientName(MHD_Connection* connection) {
    const MHD_ConnectionInfo* info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    char text[INET6_ADDRSTRLEN] = "";
    if (info == nullptr || info->client_addr == nullptr) return text;
    if (info->client_addr->sa_family == AF_INET) {
        const auto* address = reinterpret_cast<const sockaddr_in*>(info->client_addr);
        inet_ntop(AF_INET, &address->sin_addr, text, sizeof text);
    } else if (info->client_addr->sa_family == AF_INET6) {
        in6_addr network = reinterpret_cast<const sockaddr_in6*>(info->client_addr)->sin6_addr;
        if (!IN6_IS_ADDR_V4MAPPED(&network))
            std::fill(network.s6_addr + 8, network.s6_addr + 16, 0);
        inet_ntop(AF_INET6, &network, text, sizeof text);
    }
    return text;
}

sHttpRequest describe(MHD_Connection* connection, const char* method, const char* path,
                      bool isLocal) {
    sHttpRequest request;
    request.method = method;
    request.path = path;
    request.host = headerText(connection, MHD_HTTP_HEADER_HOST);
    request.authorization = headerText(connection, MHD_HTTP_HEADER_AUTHORIZATION);
    request.acceptEncoding = headerText(connection, MHD_HTTP_HEADER_ACCEPT_ENCODING);
    request.ifNoneMatch = headerText(connection, MHD_HTTP_HEADER_IF_NONE_MATCH);
    request.fetchSite = headerText(connection, "Sec-Fetch-Site");
    request.client = clientName(connection);
    request.isLocal = isLocal;
    MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, addToQuery, &request);
    return request;
}

cConnections::sConnection* connectionOf(MHD_Connection* connection) {
    const MHD_ConnectionInfo* info =
        MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
    return info == nullptr ? nullptr
                           : static_cast<cConnections::sConnection*>(info->socket_context);
}

// No path and no parameter needs an escape: "%00" would end a text before its end.
size_t keepEscapes(void* /*server*/, MHD_Connection* /*connection*/, char* text) {
    return strlen(text);
}

// Not what clients do wrong: anybody could fill the log with it.
void ignoreLibraryMessage(void* /*server*/, const char* /*format*/, va_list /*arguments*/) {}

// A text that is being sent, and the sum of all of these.
struct sSentText {
    std::string text;
    size_t& sum;
};

void release(void* argument) {
    auto* sent = static_cast<sSentText*>(argument);
    sent->sum -= sent->text.size();
    delete sent;
}

// All gateways of a fleet are many megabytes: not copied.
MHD_Response* responseOf(std::string&& body, size_t& sum) {
    auto* sent = new sSentText{std::move(body), sum};
    sum += sent->text.size();
    MHD_Response* response = MHD_create_response_from_buffer_with_free_callback_cls(
        sent->text.size(), sent->text.data(), release, sent);
    if (response == nullptr) release(sent);
    return response;
}

class cServer {
  public:
    cServer(cSite& site, const sServerSetup& setup)
        : m_site(site),
          m_jobs(setup.patienceS),
          m_connections(setup.sendBuffer),
          m_readers(site.stream()),
          m_wait(setup.wait ? setup.wait : waitAlone),
          m_idleS(setup.idleS),
          m_lastBusyS(monotonicS()) {
        m_poll = epoll_create1(EPOLL_CLOEXEC);
        blockSignals();
        watch(m_jobs.descriptor());
        for (const sListener& listener : setup.listeners)
            start(listener, setup);
    }

    ~cServer() {
        endRequests();
        for (const auto& entrance : m_entrances)
            MHD_stop_daemon(entrance->daemon);
        close(m_signals);
        close(m_poll);
    }

    cServer(const cServer&) = delete;
    cServer& operator=(const cServer&) = delete;

    void run() {
        while (!isSignalled() && !isIdle()) {
            wait();
            m_jobs.run(monotonicS());
            runLibrary();
            look();
            m_connections.cutOff(monotonicS());
        }
    }

  private:
    // Where browsers come in.
    struct sEntrance {
        cServer* server;
        bool isLocal;
        MHD_Daemon* daemon;
    };

    // While a job makes its answer the library leaves it alone: it is not completed before it is
    // woken.
    struct sOpenRequest {
        MHD_Connection* connection;
        bool isSuspended;
        sHttpAnswer answer;
    };

    void blockSignals() {
        signal(SIGPIPE, SIG_IGN);
        m_signals = openEndSignals();
        watch(m_signals);
    }

    void watch(int descriptor) const {
        epoll_event event{};
        event.events = EPOLLIN;
        if (epoll_ctl(m_poll, EPOLL_CTL_ADD, descriptor, &event) != 0)
            throw systemFailure("watch the sockets", errno);
    }

    void start(const sListener& listener, const sServerSetup& setup) {
        m_entrances.push_back(
            std::make_unique<sEntrance>(sEntrance{this, listener.isLocal, nullptr}));
        sEntrance& entrance = *m_entrances.back();
        const unsigned tls = listener.isLocal ? 0U : static_cast<unsigned>(MHD_USE_TLS);
        std::vector<MHD_OptionItem> options;
        if (!listener.isLocal)
            options = {{MHD_OPTION_HTTPS_MEM_CERT, 0, const_cast<char*>(setup.certificate.c_str())},
                       {MHD_OPTION_HTTPS_MEM_KEY, 0, const_cast<char*>(setup.key.c_str())},
                       {MHD_OPTION_HTTPS_PRIORITIES, 0, const_cast<char*>(TLS_PRIORITIES)},
                       {MHD_OPTION_PER_IP_CONNECTION_LIMIT, CONNECTIONS_OF_ONE_MAX, nullptr}};
        options.push_back({MHD_OPTION_END, 0, nullptr});
        entrance.daemon = MHD_start_daemon(
            MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG | tls, 0, nullptr, nullptr,
            answerRequest, &entrance, MHD_OPTION_EXTERNAL_LOGGER, ignoreLibraryMessage, nullptr,
            MHD_OPTION_LISTEN_SOCKET, listener.socket, MHD_OPTION_NOTIFY_CONNECTION, noteConnection,
            this, MHD_OPTION_UNESCAPE_CALLBACK, keepEscapes, nullptr, MHD_OPTION_NOTIFY_COMPLETED,
            noteCompleted, this, MHD_OPTION_CONNECTION_LIMIT,
            listener.isLocal ? LOCAL_CONNECTIONS_MAX : CONNECTIONS_MAX,
            MHD_OPTION_CONNECTION_MEMORY_LIMIT, CONNECTION_MEMORY, MHD_OPTION_CONNECTION_TIMEOUT,
            SILENCE_MAX_S, MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_ARRAY, options.data(),
            MHD_OPTION_END);
        if (entrance.daemon == nullptr) {
            m_entrances.pop_back();
            throw cFailure(eExitStatus::FAILED,
                           "cannot serve at " + listener.name +
                               (listener.isLocal ? ""
                                                 : ": certificate and key do not fit, or "
                                                   "are not in PEM format"));
        }
        watch(MHD_get_daemon_info(entrance.daemon, MHD_DAEMON_INFO_EPOLL_FD)->epoll_fd);
    }

    // ---- the loop

    void wait() const {
        int timeout = m_readers.isEmpty() ? TICK_MS : LOOK_MS;
        for (const auto& entrance : m_entrances) {
            MHD_UNSIGNED_LONG_LONG ms = 0;
            if (MHD_get_timeout(entrance->daemon, &ms) == MHD_YES)
                timeout = std::min(timeout, static_cast<int>(std::min(ms, 1000ULL)));
        }
        m_wait(m_poll, timeout);
    }

    static void waitAlone(int descriptor, int milliseconds) {
        epoll_event event{};
        epoll_wait(descriptor, &event, 1, milliseconds);
    }

    void runLibrary() const {
        for (const auto& entrance : m_entrances)
            MHD_run(entrance->daemon);
    }

    void look() {
        const long long nowMs = monotonicMs();
        if (m_readers.isEmpty() || nowMs - m_lastLookMs < LOOK_MS) return;
        m_lastLookMs = nowMs;
        m_site.look();
        if (m_readers.serve(monotonicS())) runLibrary();
    }

    bool isSignalled() const {
        signalfd_siginfo info{};
        return read(m_signals, &info, sizeof info) > 0;
    }

    bool isIdle() {
        const long long nowS = monotonicS();
        if (m_connections.count() != 0) m_lastBusyS = nowS;
        return m_idleS != 0 && nowS - m_lastBusyS >= m_idleS;
    }

    // The library must not be stopped while it has to leave one alone.
    void endRequests() {
        m_jobs.end(monotonicS());
        m_readers.end();
        for (int round = 0; round < END_ROUNDS && !m_requests.empty(); ++round)
            runLibrary();
    }

    // ---- what the library calls

    static void noteConnection(void* argument, MHD_Connection* connection, void** context,
                               MHD_ConnectionNotificationCode code) {
        auto& server = *static_cast<cServer*>(argument);
        if (code == MHD_CONNECTION_NOTIFY_CLOSED)
            return server.m_connections.close(static_cast<cConnections::sConnection*>(*context));
        const int socket =
            MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
        *context = server.m_connections.open(socket, monotonicS());
    }

    static void noteCompleted(void* argument, MHD_Connection* connection, void** context,
                              MHD_RequestTerminationCode /*code*/) {
        auto& server = *static_cast<cServer*>(argument);
        auto* request = static_cast<sOpenRequest*>(*context);
        // The client has gone while a job made the answer.
        if (request != nullptr && request->answer.file >= 0) close(request->answer.file);
        server.m_requests.remove_if(
            [request](const sOpenRequest& other) { return &other == request; });
        *context = nullptr;
        if (cConnections::sConnection* open = connectionOf(connection))
            cConnections::begin(*open, cConnections::eStep::IDLE, monotonicS());
    }

    // Called with the head of a request, and once more when its job is done.
    static MHD_Result answerRequest(void* argument, MHD_Connection* connection, const char* path,
                                    const char* method, const char* /*version*/,
                                    const char* /*body*/, size_t* /*bodySize*/, void** context) {
        auto& entrance = *static_cast<sEntrance*>(argument);
        cServer& server = *entrance.server;
        if (connectionOf(connection) == nullptr) return MHD_NO;
        if (*context == nullptr) {
            server.m_requests.push_back({connection, false, {}});
            *context = &server.m_requests.back();
            server.take(server.m_requests.back(),
                        server.m_site.answer(describe(connection, method, path, entrance.isLocal),
                                             monotonicS()));
        }
        // Answered with the head of the request: nobody reads a body.
        return server.proceed(*static_cast<sOpenRequest*>(*context));
    }

    // The answer, or a further job that makes it.
    void take(sOpenRequest& request, sHttpAnswer answer) {
        request.answer = std::move(answer);
        if (request.answer.job == nullptr) return;
        const std::shared_ptr<const sJob> job = request.answer.job;
        const auto finish = job->finish;
        const auto done = [this, &request, finish](const sJobResult& result, long long nowS) {
            take(request, finish(result, nowS));
            if (request.answer.job == nullptr) wake(request);
        };
        if (!m_jobs.add(*job, done)) request.answer = busyAnswer();
    }

    static void wake(sOpenRequest& request) {
        if (!request.isSuspended) return;
        request.isSuspended = false;
        MHD_resume_connection(request.connection);
    }

    MHD_Result proceed(sOpenRequest& request) {
        cConnections::sConnection& open = *connectionOf(request.connection);
        const bool isReady = request.answer.job == nullptr;
        // A job has a limit of its own.
        cConnections::begin(open,
                            isReady ? cConnections::eStep::ANSWER : cConnections::eStep::UNLIMITED,
                            monotonicS());
        if (isReady) return send(request.connection, open, request.answer);
        request.isSuspended = true;
        MHD_suspend_connection(request.connection);
        return MHD_YES;
    }

    MHD_Response* responseTo(MHD_Connection* connection, cConnections::sConnection& open,
                             sHttpAnswer& answer) {
        if (answer.file >= 0 && answer.status == MHD_HTTP_OK) {
            MHD_Response* response = MHD_create_response_from_fd(answer.fileSize, answer.file);
            if (response != nullptr) answer.file = -1;
            return response;
        }
        if (answer.isStream && m_readers.isFull()) {
            answer.status = TOO_BUSY;
            answer.body = "Too many readers of live values; try again later.\n";
        } else if (answer.isStream) {
            m_site.look();
            cConnections::begin(open, cConnections::eStep::UNLIMITED, monotonicS());
            return m_readers.add(connection, open, monotonicS());
        }
        if (m_sending > 0 && m_sending + answer.body.size() > SENDING_MAX) answer = busyAnswer();
        return responseOf(std::move(answer.body), m_sending);
    }

    MHD_Result send(MHD_Connection* connection, cConnections::sConnection& open,
                    sHttpAnswer& answer) {
        MHD_Response* response = responseTo(connection, open, answer);
        if (response == nullptr) return MHD_NO;
        MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, answer.type.c_str());
        for (const auto& [name, value] : answer.headers)
            MHD_add_response_header(response, name.c_str(), value.c_str());
        const MHD_Result result = MHD_queue_response(connection, answer.status, response);
        MHD_destroy_response(response);
        return result;
    }

    cSite& m_site;
    size_t m_sending = 0;  // bytes of answers; outlives them
    std::list<sOpenRequest> m_requests;
    cJobs m_jobs;
    cConnections m_connections;
    cReaders m_readers;
    std::function<void(int, int)> m_wait;
    std::vector<std::unique_ptr<sEntrance>> m_entrances;
    int m_poll = -1;
    int m_signals = -1;
    long long m_idleS;
    long long m_lastBusyS;
    long long m_lastLookMs = 0;
};

void requireProtection(const sServerSetup& setup, const sListener& listener) {
    const std::string start = listener.name + " can be reached from other hosts, which needs ";
    if (setup.certificate.empty() || setup.key.empty())
        throw cFailure(eExitStatus::FAILED, start + "a certificate: " + setup.certificateHint);
    if (!isPasswordHash(setup.passwordHash))
        throw cFailure(eExitStatus::FAILED, start + "a password: " + setup.passwordHint);
}

}  // namespace

void runServer(cSite& site, const sServerSetup& setup) {
    for (const sListener& listener : setup.listeners)
        if (!listener.isLocal) requireProtection(setup, listener);
    cServer server(site, setup);
    server.run();
}
