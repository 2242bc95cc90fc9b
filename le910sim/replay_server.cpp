#include "le910sim/replay_server.h"

#include <poll.h>

#include <cstdio>
#include <vector>

#include "le910sim/make_port.h"
#include "le910sim/text.h"

namespace le910sim {

namespace {

constexpr int TICK_MS = 5;
constexpr size_t SHOWN_MAX = 200;

}  // namespace

cReplayServer::cReplayServer(const sReplayOptions& options, const sRecording& recording)
    : m_path(options.path),
      m_replay(recording, options.speed, options.strict),
      m_endMs(options.seconds * 1000),
      m_start(std::chrono::steady_clock::now()) {
    for (const ePort which : {ePORT_AT, ePORT_GPS})
        m_ports[which] = makeSerialPort(options.links[which], options.devices[which]);
    pass();
}

uint64_t cReplayServer::nowMs() const {
    const auto passed = std::chrono::steady_clock::now() - m_start;
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(passed).count());
}

bool cReplayServer::run(const volatile std::sig_atomic_t& stop) {
    while (stop == 0 && !m_replay.isStopped() && (m_endMs == 0 || nowMs() < m_endMs)) {
        std::vector<pollfd> watched;
        for (const auto& port : m_ports)
            if (port->present()) watched.push_back({port->descriptor(), POLLIN, 0});
        poll(watched.data(), watched.size(), TICK_MS);
        pass();
    }
    reportEnd();
    return !m_replay.isStopped();
}

void cReplayServer::reportEnd() const {
    if (m_replay.isStopped())
        std::fprintf(stderr, "le910sim: %s", m_replay.firstDifference().c_str());
    else if (!m_replay.isOver())
        std::fprintf(stderr, "le910sim: ended before this was replayed: %s\n",
                     m_replay.place().c_str());
}

void cReplayServer::pass() {
    m_replay.advance(nowMs());
    for (const ePort which : {ePORT_AT, ePORT_GPS})
        serve(which);
    report();
}

void cReplayServer::serve(ePort which) {
    cSerialPort& port = *m_ports[which];
    if (!m_replay.isPresent(which)) return port.disappear();
    port.appear();
    if (!port.present()) return;
    m_replay.receive(which, port.receive(), nowMs());
    port.takeHangUp();
    port.send(m_replay.takeOutput(which));
}

void cReplayServer::report() {
    const std::vector<std::string>& unknown = m_replay.unknown();
    for (; m_unknownSaid < unknown.size(); ++m_unknownSaid)
        std::fprintf(stderr, "le910sim: %s has no answer to %s, so it gets ERROR\n", m_path.c_str(),
                     printable(unknown[m_unknownSaid], SHOWN_MAX).c_str());
    if (m_overSaid || !m_replay.isOver()) return;
    m_overSaid = true;
    std::puts("over");
    std::fflush(stdout);
}

}  // namespace le910sim
