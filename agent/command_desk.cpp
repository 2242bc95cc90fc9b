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
    return printableLine(text).substr(0, LOGGED_MAX);
}

sOutcome refused(const std::string& why) {
    return {eResult::REFUSED, why, {}, "", false};
}

}  // namespace

void cCommandDesk::log(const sCommand& command, const std::string& what) const {
    m_log("command " + command.id + " (" + described(command) + ") of " +
          printableLine(command.by) + ": " + printableLine(what));
}

// Stores what has become of the command, together with its result.
bool cCommandDesk::note(const sCommand& command, const sKnownCommand& known,
                        const std::optional<sOutcome>& outcome, const sAgentClock& clock) {
    sStoreChange change;
    change.commands[command.id] = known;
    if (outcome) change.messages = resultDrafts(command, *outcome, clock.wall, m_store.room());
    std::string error;
    if (m_store.commit(change, error)) return true;
    log(command, error);
    return false;
}

void cCommandDesk::resume(const sAgentClock& clock) {
    std::vector<std::pair<uint64_t, sCommand>> queued;
    const auto commands = m_store.commands();
    for (const auto& [id, known] : commands) {
        m_order = std::max(m_order, known.order);
        if (known.state == eCommandState::ENDED) continue;
        const sParsedCommand parsed = parseCommand(known.text);
        if (known.state == eCommandState::QUEUED) queued.emplace_back(known.order, parsed.command);
        if (known.state == eCommandState::CHANGING) m_changing = parsed.command;
        if (known.state == eCommandState::RUNNING)
            end(parsed.command,
                {eResult::INTERRUPTED,
                 "The agent or the gateway ended while it ran; it is not run again.",
                 {},
                 "",
                 false},
                clock);
    }
    std::sort(queued.begin(), queued.end(),
              [](const auto& one, const auto& other) { return one.first < other.first; });
    for (const auto& [order, command] : queued)
        m_queue.push_back(command);
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

// Refused or expired, or queued: then the status is STARTED.
sOutcome cCommandDesk::judge(const sParsedCommand& parsed, const sAgentClock& clock) const {
    const sCommand& command = parsed.command;
    if (parsed.use == eCommandUse::REFUSED) return refused(parsed.why);
    if (clock.wall < CLOCK_SET_AFTER)
        return refused("the gateway's clock is not set, so that no deadline can be judged");
    // Its identifier may have been there and be forgotten.
    if (command.deadline < clock.wall || command.deadline <= m_store.forgottenUntil())
        return {eResult::EXPIRED, "the deadline had passed when it came", {}, "", false};
    if (command.deadline > clock.wall + DEADLINE_MAX_S)
        return refused("the deadline is more than 24 hours ahead");
    const std::string why = whyNotAllowed(m_config, command);
    if (!why.empty()) return refused(why);
    if (command.name == COMMAND_CONFIG && m_changing)
        return refused("busy: another configuration change is under way");
    if (m_queue.size() >= QUEUE_MAX)
        return refused("busy: " + std::to_string(QUEUE_MAX) + " commands wait already");
    if (m_store.commands().size() >= cAgentStore::COMMANDS_MAX)
        return refused("busy: too many commands in the last 24 hours");
    return {eResult::STARTED, "", {}, "", false};
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
    if (outcome.status == eResult::EXPIRED || clock.wall < CLOCK_SET_AFTER)
        return say(command, outcome, clock);
    sKnownCommand known;
    known.order = ++m_order;
    // A deadline that is refused may be years ahead.
    known.deadline = parsed.use == eCommandUse::GOOD
                         ? std::min(command.deadline, clock.wall + DEADLINE_MAX_S)
                         : clock.wall + DEADLINE_MAX_S;
    if (outcome.status == eResult::REFUSED) {
        known.outcome = shortText(outcome);
        if (note(command, known, outcome, clock)) log(command, known.outcome);
        return;
    }
    known.state = eCommandState::QUEUED;
    known.text = commandText(command);
    if (!note(command, known, {}, clock)) return;
    log(command, "queued");
    m_queue.push_back(command);
}

std::optional<sCommand> cCommandDesk::start(const sAgentClock& clock) {
    while (!m_running && !m_queue.empty()) {
        const sCommand command = m_queue.front();
        m_queue.pop_front();
        if (command.deadline < clock.wall) {
            end(command, {eResult::EXPIRED, "its deadline passed while it waited", {}, "", false},
                clock);
            continue;
        }
        sKnownCommand known = m_store.command(command.id).value_or(sKnownCommand{});
        known.state = eCommandState::RUNNING;
        // Without that note it might be executed twice.
        if (!note(command, known, {}, clock)) continue;
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
    note(command, known, {}, clock);
    log(command, "the change has begun");
    m_changing = command;
    m_running.reset();
}

void cCommandDesk::noteStarted(const sCommand& command, const sAgentClock& clock) {
    sKnownCommand known = m_store.command(command.id).value_or(sKnownCommand{});
    if (known.outcome == resultWord(eResult::STARTED)) return;
    known.outcome = resultWord(eResult::STARTED);
    note(command, known,
         sOutcome{eResult::STARTED,
                  "The new file is in force; it stays if the gateway comes back with it.",
                  {},
                  "",
                  false},
         clock);
    log(command, known.outcome);
}

void cCommandDesk::say(const sCommand& command, const sOutcome& outcome, const sAgentClock& clock) {
    sStoreChange change;
    change.messages = resultDrafts(command, outcome, clock.wall, m_store.room());
    std::string error;
    log(command, m_store.commit(change, error) ? shortText(outcome) : error);
}

void cCommandDesk::end(const sCommand& command, const sOutcome& outcome, const sAgentClock& clock) {
    sKnownCommand known = m_store.command(command.id).value_or(sKnownCommand{});
    known.state = eCommandState::ENDED;
    known.text.clear();
    known.outcome = shortText(outcome).substr(0, LOGGED_MAX);
    note(command, known, outcome, clock);
    log(command, known.outcome);
    if (m_running && m_running->id == command.id) m_running.reset();
    if (m_changing && m_changing->id == command.id) m_changing.reset();
}
