#ifndef TESTS_REPLAY_REPLAYED_MODEM_H
#define TESTS_REPLAY_REPLAYED_MODEM_H

#include <array>
#include <string>

#include "le910sim/replay.h"
#include "tests/support/fake_time.h"
#include "tests/support/memory_terminal.h"

// The modem of a recording on two terminals. Programs that use it are linked with
// MEMORY_TERMINAL_OPTIONS.
class cReplayedModem : public cFakeTime {
  public:
    cReplayedModem(const le910sim::sRecording& recording, const std::string& atPath,
                   const std::string& gpsPath);

    const le910sim::cReplay& replay() const { return m_replay; }

  private:
    void turn() override;
    void comeAndGo();

    le910sim::cReplay m_replay;
    std::array<cMemoryTerminal, le910sim::PORT_COUNT> m_terminals;
    uint64_t m_turnMs = 0;  // of the last turn
};

#endif
