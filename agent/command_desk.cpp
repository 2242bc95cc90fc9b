#include "agent/command_desk.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "agent/permission.h"
#include "cli/base/printable_text.h"

namespace {

constexpr size_t LOGGED_MAX = 120;

// Arguments may be secrets, such as the PIN in an AT command.
std::string described(const sCommand& command) {
    std::string text = command.name;
    if (command.slot) text += " slot " + std::to_string(*command.slot);
    if (!command.want.empty()) text += " " + command.want;
    if (!command.at.empty()) text += " " + command.at.substr(0, command.at.find('='));
    return beginningOf(printableLine(text), LOGGED_MAX);
}

sOutcome refused(const std::string& why) {
    return {eResult::REFUSED, why, {}, "", false};
}

}  // namespace

void cCommandDesk::log(const sCommand& command, const std::string& what) const {
    m_log("command " + command.id + " (" + described(command) + ") of " +
          printableLine(command.by) + ": " + printableLine(what));
}

// What has become of the command, together with its result.
sStoreChange cCommandDesk::changeOf(const sCommand& command, const sKnownCommand& known,
                                    const std::optional<sOutcome>& outcome,
                                    const sAgentClock& clock) const {
    sStoreChange change;
    change.commands[command.id] = known;
    if (outcome) change.messages = resultDrafts(command, *outcome, clock.wall, m_store.room());
    return change;
}

// Never before what is still to be stored. An error is logged once.
bool cCommandDesk::save(const sCommand& command, const sStoreChange& change) {
    saveAgain();
    std::string error = m_saveError;
    const bool isSaved = m_unsaved.empty() && m_store.commit(change, error);
    if (!isSaved && error != m_saveError) log(command, error);
    m_saveError = isSaved ? "" : error;
    return isSaved;
}

void cCommandDesk::saveOrKeep(const sCommand& command, const sStoreChange& change) {
    if (!save(command, change) && m_unsaved.size() < UNSAVED_MAX) m_unsaved.push_back(change);
}

void cCommandDesk::saveAgain() {
    std::string error;
    while (!m_unsaved.empty() && m_store.commit(m_unsaved.front(), error))
        m_unsaved.pop_front();
}

void cCommandDesk::resume(const sAgentClock& clock) {
    std::vector<std::pair<uint64_t, sCommand>> queued;
    const auto commands = m_store.commands();
    for (const auto& [id, known] : commands) {
        m_order = std::max(m_order, known.order);
        if (known.state == eCommandState::QUEUED)
            queued.emplace_back(known.order, parseCommand(known.text).command);
        if (known.state == eCommandState::CHANGING) m_changing = parseCommand(known.text).command;
    }
    for (const auto& [id, known] : commands)
        if (known.state == eCommandState::RUNNING)
            resumeRunning(parseCommand(known.text).command, clock);
    std::sort(queued.begin(), queued.end(),
              [](const auto& one, const auto& other) { return one.first < other.first; });
    for (const auto& [order, command] : queued)
        m_queue.push_back(command);
}

void cCommandDesk::resumeRunning(const sCommand& command, const sAgentClock& clock) {
    // It may have been begun: what has come of it is on the disk, and may not be the end yet.
    if (command.name == COMMAND_CONFIG && !m_changing) {
        m_changing = command;
        return;
    }
    end(command,
        {eResult::INTERRUPTED,
         "The agent or the gateway ended while it ran; it is not run again.",
         {},
         "",
         false},
        clock);
}

bool cCommandDesk::mayAnswer(const sAgentClock& clock) {
    const long long refill = (clock.runS - m_refilledS) / REFILL_S;
    if (refill > 0) {
        m_tokens = static_cast<int>(std::min<long long>(BURST, m_tokens + refill));
        m_refilledS += refill * REFILL_S;
    }
    if (m_tokens == 0) {
        // Logged with growing distance: a flood must not fill the log either.
        ++m_unanswered;
        if ((m_unanswered & (m_unanswered - 1)) == 0)
            m_log(std::to_string(m_unanswered) +
                  " commands came too fast and were neither executed nor answered");
        return false;
    }
    m_unanswered = 0;
    --m_tokens;
    return true;
}

// Refused or expired, or good: then the status is STARTED.
sOutcome cCommandDesk::judgeTime(const sCommand& command, const sAgentClock& clock) const {
    if (clock.wall < CLOCK_SET_AFTER)
        return refused("the gateway's clock is not set, so that no deadline can be judged");
    // Its identifier may have been there and be forgotten.
    if (command.deadline < clock.wall || command.deadline <= m_store.forgottenUntil())
        return {eResult::EXPIRED, "the deadline had passed when it came", {}, "", false};
    if (command.deadline > clock.wall + DEADLINE_MAX_S)
        return refused("the deadline is more than 24 hours ahead");
    return {eResult::STARTED, "", {}, "", false};
}

// As judgeTime().
sOutcome cCommandDesk::judge(const sParsedCommand& parsed, const sAgentClock& clock) const {
    const sCommand& command = parsed.command;
    if (parsed.use == eCommandUse::REFUSED) return refused(parsed.why);
    sOutcome outcome = {eResult::STARTED, "", {}, "", false};
    if (clock.isSure) outcome = judgeTime(command, clock);
    if (outcome.status != eResult::STARTED) return outcome;
    const std::string why = whyNotAllowed(m_config, command);
    if (!why.empty()) return refused(why);
    if (command.name == COMMAND_CONFIG && m_changing)
        return refused("busy: another configuration change is under way");
    if (m_queue.size() >= QUEUE_MAX)
        return refused("busy: " + std::to_string(QUEUE_MAX) + " commands wait already");
    if (m_store.commands().size() >= cAgentStore::COMMANDS_MAX)
        return refused("busy: too many commands in the last 24 hours");
    return outcome;
}

void cCommandDesk::answerAgain(const sCommand& command, const sKnownCommand& known,
                               const sAgentClock& clock) {
    if (known.state != eCommandState::ENDED) return log(command, "came again; it is not ended yet");
    say(command, {eResult::REPEATED, REPEATED_BEGINS + known.outcome, {}, "", false}, clock);
}

void cCommandDesk::take(const std::string& text, const sAgentClock& clock) {
    if (!mayAnswer(clock)) return;
    const sParsedCommand parsed = parseCommand(text);
    const sCommand& command = parsed.command;
    if (parsed.use == eCommandUse::UNUSABLE)
        return m_log("a message that is no command: " + parsed.why);
    m_store.forgetCommands(clock.wall);
    if (const auto known = m_store.command(command.id)) return answerAgain(command, *known, clock);

    const sOutcome outcome = judge(parsed, clock);
    // Without a clock nothing is remembered: it would be forgotten at a wrong time.
    if (outcome.status == eResult::EXPIRED || (clock.isSure && clock.wall < CLOCK_SET_AFTER))
        return say(command, outcome, clock);
    sKnownCommand known;
    known.order = ++m_order;
    // A deadline that is refused may be years ahead; while the time is not sure, so may a good one.
    const time_t latest = clock.wall + DEADLINE_MAX_S;
    known.deadline = parsed.use != eCommandUse::GOOD ? latest : command.deadline;
    if (clock.isSure) known.deadline = std::min(known.deadline, latest);
    if (outcome.status == eResult::REFUSED) {
        known.outcome = shortText(outcome);
        known.wasRefused = true;
        saveOrKeep(command, changeOf(command, known, outcome, clock));
        return log(command, known.outcome);
    }
    known.state = eCommandState::QUEUED;
    known.text = commandText(command);
    if (!save(command, changeOf(command, known, {}, clock))) return;
    log(command, clock.isSure ? "queued" : "queued until the time of day is sure");
    m_queue.push_back(command);
}

std::optional<sCommand> cCommandDesk::start(const sAgentClock& clock) {
    while (clock.isSure && !m_running && !m_queue.empty()) {
        const sCommand command = m_queue.front();
        const sOutcome outcome = judgeTime(command, clock);
        if (outcome.status != eResult::STARTED) {
            m_queue.pop_front();
            end(command, outcome, clock);
            continue;
        }
        sKnownCommand known = m_store.command(command.id).value_or(sKnownCommand{});
        known.state = eCommandState::RUNNING;
        // Without that note it might be executed twice.
        if (!save(command, changeOf(command, known, {}, clock))) return std::nullopt;
        m_queue.pop_front();
        m_running = command;
        return m_running;
    }
    return std::nullopt;
}

void cCommandDesk::noteChanging(const sCommand& command, const sAgentClock& clock) {
    sKnownCommand known = m_store.command(command.id).value_or(sKnownCommand{});
    known.state = eCommandState::CHANGING;
    // Whoever executes it has the file, which may hold a password.
    sCommand kept = command;
    kept.file = "-";
    known.text = commandText(kept);
    saveOrKeep(command, changeOf(command, known, {}, clock));
    log(command, "the change has begun");
    m_changing = command;
    m_running.reset();
}

void cCommandDesk::noteStarted(const sCommand& command, const sAgentClock& clock) {
    sKnownCommand known = m_store.command(command.id).value_or(sKnownCommand{});
    if (known.outcome == resultWord(eResult::STARTED)) return;
    known.outcome = resultWord(eResult::STARTED);
    const sOutcome started{eResult::STARTED,
                           "The new file is in force; it stays if the gateway comes back with it.",
                           {},
                           "",
                           false};
    saveOrKeep(command, changeOf(command, known, started, clock));
    log(command, known.outcome);
}

void cCommandDesk::say(const sCommand& command, const sOutcome& outcome, const sAgentClock& clock) {
    sStoreChange change;
    change.messages = resultDrafts(command, outcome, clock.wall, m_store.room());
    saveOrKeep(command, change);
    log(command, shortText(outcome));
}

void cCommandDesk::end(const sCommand& command, const sOutcome& outcome, const sAgentClock& clock) {
    sKnownCommand known = m_store.command(command.id).value_or(sKnownCommand{});
    known.state = eCommandState::ENDED;
    known.text.clear();
    known.outcome = beginningOf(shortText(outcome), LOGGED_MAX);
    known.wasRefused = outcome.status == eResult::REFUSED;
    if (clock.isSure) known.deadline = std::min(known.deadline, clock.wall + DEADLINE_MAX_S);
    saveOrKeep(command, changeOf(command, known, outcome, clock));
    log(command, known.outcome);
    if (m_running && m_running->id == command.id) m_running.reset();
    if (m_changing && m_changing->id == command.id) m_changing.reset();
}
