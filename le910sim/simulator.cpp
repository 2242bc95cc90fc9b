#include "le910sim/simulator.h"

#include <poll.h>

#include <stdexcept>
#include <vector>

#include "le910sim/ethernet_interface.h"
#include "le910sim/icmp_echo.h"
#include "le910sim/make_port.h"
#include "le910sim/tun_interface.h"

namespace le910sim {

namespace {

// Answers become due at any moment; the daemon reads every 10 ms.
constexpr int TICK_MS = 5;
// Packets per pass, so that a flood does not keep the ports waiting.
constexpr int PACKETS_PER_PASS = 64;

void openForWriting(std::ofstream& file, const std::string& path) {
    if (path.empty()) return;
    file.open(path, std::ios::trunc);
    if (!file) throw std::runtime_error("cannot write " + path);
}

}  // namespace

cSimulator::cSimulator(const sSimulatorOptions& options)
    : m_modem(options.scenario),
      m_atPort(makeSerialPort(options.atLink, options.atDevice)),
      m_gpsPort(makeSerialPort(options.gpsLink, options.gpsDevice)),
      m_endMs(options.seconds * 1000),
      m_start(std::chrono::steady_clock::now()) {
    openForWriting(m_log, options.logPath);
    openForWriting(m_memory, options.memoryPath);
    writeMemory();
    if (!options.dataInterface.empty()) {
        m_data = std::make_unique<cTunInterface>(options.dataInterface);
    }
    if (!options.interface.empty()) {
        m_data = std::make_unique<cEthernetInterface>(
            options.interface,
            [this](const std::string& address) { return m_modem.ownsAddress(address); });
    }
    m_atPort->appear();
    m_gpsPort->appear();
    if (!options.gadget.empty()) {
        m_plug = std::make_unique<cUsbPlug>(options.gadget, options.controller);
        // The host sees a port only when it can be served.
        m_plug->plugIn();
    }
    if (options.controlPath.empty()) return;
    m_control =
        std::make_unique<cControlSocket>(options.controlPath, [this](const nlohmann::json& order) {
            m_modem.advance(nowMs());
            nlohmann::json answer = m_modem.control(order);
            writeMemory();
            // The effect must be visible before the answer.
            movePorts();
            writeLog();
            return answer;
        });
}

uint64_t cSimulator::nowMs() const {
    const auto passed = std::chrono::steady_clock::now() - m_start;
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

void cSimulator::run(const volatile std::sig_atomic_t& stop) {
    while (stop == 0 && (m_endMs == 0 || nowMs() < m_endMs)) {
        pass();
        waitForInput();
    }
    writeLog();
}

void cSimulator::pass() {
    m_modem.advance(nowMs());
    if (m_atPort->present()) m_modem.receiveAt(m_atPort->receive(), nowMs());
    if (m_gpsPort->present()) m_modem.receiveGps(m_gpsPort->receive(), nowMs());
    noticeHangUp();
    // What the host sees has happened, even if the power is cut now.
    if (m_modem.exchangeCount() != m_seen) writeMemory();
    movePorts();
    if (m_control) m_control->serve();
    answerPings();
    writeLog();
}

void cSimulator::movePorts() {
    if (!m_modem.portsPresent()) {
        if (m_plug) m_plug->unplug();
        m_atPort->disappear();
        m_gpsPort->disappear();
        return;
    }
    m_atPort->appear();
    m_gpsPort->appear();
    if (m_plug) m_plug->plugIn();
    m_atPort->send(m_modem.takeAtOutput());
    m_gpsPort->send(m_modem.takeGpsOutput());
}

// Somebody unplugged the modem: it runs on, but what was on its way over the cable is lost.
void cSimulator::noticeHangUp() {
    const bool atHungUp = m_atPort->takeHangUp();
    const bool gpsHungUp = m_gpsPort->takeHangUp();
    if (atHungUp || gpsHungUp) m_modem.control({{"op", "hangup"}, {"away_ms", 0}});
}

void cSimulator::answerPings() {
    if (!m_data) return;
    const auto carries = [this](const std::string& source) { return m_modem.ownsAddress(source); };
    for (int i = 0; i < PACKETS_PER_PASS; ++i) {
        const std::optional<std::vector<uint8_t>> packet = m_data->receive();
        if (!packet) return;
        if (!m_modem.answersPings()) continue;
        const std::optional<std::vector<uint8_t>> reply = echoReply(*packet, carries);
        if (reply) m_data->send(*reply);
    }
}

void cSimulator::writeLog() {
    for (const nlohmann::json& event : m_modem.takeLog()) {
        if (m_log.is_open()) m_log << jsonLine(event) << std::flush;
    }
}

void cSimulator::writeMemory() {
    m_seen = m_modem.exchangeCount();
    if (!m_memory.is_open()) return;
    const std::string line = jsonLine(m_modem.memory());
    if (line == m_written) return;
    m_memory << line << std::flush;
    m_written = line;
}

void cSimulator::waitForInput() const {
    std::vector<pollfd> watched;
    if (m_atPort->present()) watched.push_back({m_atPort->descriptor(), POLLIN, 0});
    if (m_gpsPort->present()) watched.push_back({m_gpsPort->descriptor(), POLLIN, 0});
    if (m_data) watched.push_back({m_data->descriptor(), POLLIN, 0});
    if (m_control) {
        for (const int fd : m_control->descriptors())
            watched.push_back({fd, POLLIN, 0});
    }
    poll(watched.data(), watched.size(), TICK_MS);
}

}  // namespace le910sim
