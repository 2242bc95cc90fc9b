#include "le910sim/record_server.h"

#include <poll.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "le910sim/recording.h"

namespace le910sim {

namespace {

constexpr int TICK_MS = 5;

std::string utcNow() {
    char text[32];
    const time_t now = time(nullptr);
    tm parts{};
    gmtime_r(&now, &parts);
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

std::string headerLine(bool keepIdentities) {
    const nlohmann::ordered_json header = {{"recording", RECORDING_VERSION},
                                           {"program", "le910sim"},
                                           {"slot", 1},
                                           {"began", utcNow()},
                                           {"identities", keepIdentities ? "kept" : "replaced"}};
    return header.dump() + "\n";
}

}  // namespace

cRecordServer::cRecordServer(const sRecordOptions& options)
    : m_options(options),
      m_modem(options.device),
      m_program(options.link),
      m_exchange(options.keepIdentities),
      m_start(std::chrono::steady_clock::now()) {
    // The file never turns: whoever records so stays beside it.
    if (!m_file.open(options.path, options.path, RECORDING_MAX) ||
        !m_file.write(headerLine(options.keepIdentities)))
        throw std::runtime_error("cannot write " + options.path + ": " + std::strerror(errno));
    m_modem.appear();
    m_program.appear();
    addMark(R"(,"mark":"start","arguments":[])");
    addPort("open");
    write();
}

uint64_t cRecordServer::nowMs() const {
    const auto passed = std::chrono::steady_clock::now() - m_start;
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

bool cRecordServer::run(const volatile std::sig_atomic_t& stop) {
    while (stop == 0 && (m_options.seconds == 0 || nowMs() < m_options.seconds * 1000)) {
        std::vector<pollfd> watched;
        for (const cSerialPort* port :
             {static_cast<cSerialPort*>(&m_modem), static_cast<cSerialPort*>(&m_program)})
            if (port->present()) watched.push_back({port->descriptor(), POLLIN, 0});
        poll(watched.data(), watched.size(), TICK_MS);
        pass();
    }
    m_exchange.endAllLines();
    addMark(R"(,"mark":"stop","reason":"asked")");
    write();
    return m_file.isOpen();
}

void cRecordServer::pass() {
    passOn(m_program, m_modem, eRecordedWay::WRITE);
    passOn(m_modem, m_program, eRecordedWay::READ);
    comeAndGo();
    write();
}

void cRecordServer::passOn(cSerialPort& from, cSerialPort& to, eRecordedWay way) {
    if (!from.present()) return;
    const std::string bytes = from.receive();
    if (!bytes.empty())
        m_exchange.addBytes(eRecordedPort::AT, way, bytes.data(), bytes.size(), nowMs());
    to.send(bytes);
}

// The program sees a modem that is unplugged as it would without this one between them.
void cRecordServer::comeAndGo() {
    if (m_modem.takeHangUp()) {
        m_exchange.endLines(eRecordedPort::AT);
        addPort("hangup");
        addPort("close");
        m_program.disappear();
    }
    if (m_modem.present()) return;
    m_modem.appear();
    if (!m_modem.present()) return;
    m_program.appear();
    addPort("open");
}

void cRecordServer::addPort(const char* event) {
    addMark(std::string(R"(,"at":")") + event + '"');
}

void cRecordServer::addMark(const std::string& rest) {
    cTextBuffer line;
    line.append(rest);
    m_exchange.addLine(line, nowMs());
}

void cRecordServer::write() {
    cTextBuffer& ready = m_exchange.ready();
    if (ready.empty()) return;
    const bool isLost = m_file.isOpen() && !m_file.write(ready.data(), ready.size());
    const int error = errno;
    ready.clear();
    if (!isLost) return;
    m_file.close();
    std::fprintf(stderr, "le910sim: cannot write %s: %s; the recording ends here\n",
                 m_options.path.c_str(), std::strerror(error));
}

}  // namespace le910sim
