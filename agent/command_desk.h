#ifndef AGENT_COMMAND_DESK_H
#define AGENT_COMMAND_DESK_H

#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "agent/agent_config.h"
#include "agent/agent_store.h"
#include "agent/host_clock.h"
#include "agent/outcome.h"
#include "agent/slot_watch.h"

// Takes commands from the broker and hands them out one at a time. While the time of day is not
// sure they wait, since their deadline cannot be judged. Each is executed at most once, whatever
// ends the agent or the host: it is on the disk that a command came before it is handed out. Each
// gets one final result, but those that nobody could ask for: what is not a command with an
// identifier, and what comes too fast.
class cCommandDesk {
  public:
    using tLog = std::function<void(const std::string& line)>;

    static constexpr size_t QUEUE_MAX = 8;
    // So many at once, and one more with each pause.
    static constexpr int BURST = 20;
    static constexpr long long REFILL_S = 30;

    cCommandDesk(const sAgentConfig& config, cAgentStore& store, tLog log)
        : m_config(config), m_store(store), m_log(std::move(log)) {}

    // What an earlier run has left: what was queued is queued, what ran is answered as interrupted.
    void resume(const sAgentClock& clock);
    void take(const std::string& text, const sAgentClock& clock);

    // The next command, which runs from here on; nothing while another one runs.
    std::optional<sCommand> start(const sAgentClock& clock);
    // A configuration change has been begun: others may run, its outcome comes later.
    void noteChanging(const sCommand& command, const sAgentClock& clock);
    // The new file is in force. Said once, also if the agent is ended meanwhile.
    void noteStarted(const sCommand& command, const sAgentClock& clock);
    // A result that is not the last one.
    void say(const sCommand& command, const sOutcome& outcome, const sAgentClock& clock);
    void end(const sCommand& command, const sOutcome& outcome, const sAgentClock& clock);

    // Stores what could not be stored before, as without room on the disk.
    void saveAgain();

    bool isBusy() const { return m_running.has_value(); }
    // The configuration change that is under way.
    const std::optional<sCommand>& changing() const { return m_changing; }

  private:
    void resumeRunning(const sCommand& command, const sAgentClock& clock);
    bool mayAnswer(const sAgentClock& clock);
    sOutcome judge(const sParsedCommand& parsed, const sAgentClock& clock) const;
    void answerAgain(const sCommand& command, const sKnownCommand& known, const sAgentClock& clock);
    sOutcome judgeTime(const sCommand& command, const sAgentClock& clock) const;
    sStoreChange changeOf(const sCommand& command, const sKnownCommand& known,
                          const std::optional<sOutcome>& outcome, const sAgentClock& clock) const;
    bool save(const sCommand& command, const sStoreChange& change);
    void saveOrKeep(const sCommand& command, const sStoreChange& change);
    void log(const sCommand& command, const std::string& what) const;

    const sAgentConfig& m_config;
    cAgentStore& m_store;
    const tLog m_log;
    std::deque<sCommand> m_queue;
    // What the store could not take. While it takes nothing, nothing is executed, so these are few.
    static constexpr size_t UNSAVED_MAX = 20;
    std::deque<sStoreChange> m_unsaved;
    std::string m_saveError;
    std::optional<sCommand> m_running;
    std::optional<sCommand> m_changing;
    uint64_t m_order = 0;
    int m_tokens = BURST;
    long long m_refilledS = 0;
    unsigned long long m_unanswered = 0;  // since the last one that was
};

#endif
