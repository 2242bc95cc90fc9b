#include "tests/replay/replayed_modem.h"

using le910sim::ePORT_AT;
using le910sim::ePORT_GPS;

cReplayedModem::cReplayedModem(const le910sim::sRecording& recording, const std::string& atPath,
                               const std::string& gpsPath)
    : m_replay(recording), m_terminals{cMemoryTerminal(atPath), cMemoryTerminal(gpsPath)} {
    comeAndGo();
}

void cReplayedModem::turn() {
    // The daemon wrote before it slept.
    for (const le910sim::ePort port : {ePORT_AT, ePORT_GPS})
        if (m_terminals[port].present())
            m_replay.receive(port, m_terminals[port].receive(), m_turnMs);
    m_turnMs = nowMs();
    m_replay.advance(m_turnMs);
    comeAndGo();
    for (const le910sim::ePort port : {ePORT_AT, ePORT_GPS}) {
        m_terminals[port].send(m_replay.takeOutput(port));
        m_terminals[port].deliver();
    }
}

void cReplayedModem::comeAndGo() {
    for (const le910sim::ePort port : {ePORT_AT, ePORT_GPS})
        m_terminals[port].setPresent(m_replay.isPresent(port));
}
