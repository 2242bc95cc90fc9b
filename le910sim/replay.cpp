#include "le910sim/replay.h"

#include <algorithm>

#include "le910sim/text.h"
#include "platform/include/text_helpers.h"

namespace le910sim {

namespace {

constexpr size_t NONE = static_cast<size_t>(-1);

// How many commands the program may leave out at once. The window grows with each command that is
// not the recorded one, so that a program that leaves out more finds its place too.
constexpr size_t AHEAD_MAX = 16;
// A hang-up comes this long after its time although the program has not sent what it had sent
// before.
constexpr uint64_t LEAVE_GRACE_MS = 5000;
constexpr size_t COMMAND_MAX = 64 * 1024;
constexpr size_t AROUND = 4;  // steps before and after a difference that are shown
constexpr size_t SHOWN_MAX = 100;

std::string shownStep(const sReplayStep& step) {
    switch (step.kind) {
        case eSTEP_COMMAND:
            return "<- " + printable(step.text, SHOWN_MAX);
        case eSTEP_BYTES:
            return "-> " + printable(step.text, SHOWN_MAX);
        case eSTEP_LEAVE:
            return "(hang-up)";
        case eSTEP_APPEAR:
            return "(port is back)";
    }
    return "";
}

}  // namespace

cReplay::cReplay(const sRecording& recording, double speed, bool strict)
    : m_name(recording.name), m_speed(speed), m_strict(strict) {
    std::array<sReplayPort, PORT_COUNT> recorded = replaySteps(recording);
    for (const ePort which : {ePORT_AT, ePORT_GPS}) {
        m_ports[which].recorded = std::move(recorded[which]);
        preparePort(m_ports[which]);
    }
}

void cReplay::preparePort(sPort& port) {
    const std::vector<sReplayStep>& steps = port.recorded.steps;
    port.present = port.recorded.presentAtFirst;
    for (size_t i = 0; i < steps.size(); ++i) {
        const bool isCommand = steps[i].kind == eSTEP_COMMAND;
        port.comparable.push_back(isCommand ? comparableCommand(steps[i].text) : "");
        if (steps[i].unterminated) port.unterminated.insert(steps[i].text);
        if (!isCommand || i + 1 == steps.size() || steps[i + 1].kind != eSTEP_BYTES) continue;
        if (steps[i + 1].text.find(steps[i].text + '\r') != std::string::npos) port.echoes = true;
    }
}

void cReplay::receive(ePort port, const std::string& bytes, uint64_t nowMs) {
    advance(nowMs);
    for (const char byte : bytes)
        takeByte(port, byte);
    advance(nowMs);
}

void cReplay::takeByte(ePort which, char byte) {
    sPort& port = m_ports[which];
    if (isStopped() || !port.present) return;
    if (byte == '\r') return takeCommand(which, std::exchange(port.input, ""));
    if (byte == '\n' && port.input.empty()) return;
    if (port.input.size() < COMMAND_MAX) port.input += byte;
    if (isUnterminated(port)) takeCommand(which, std::exchange(port.input, ""));
}

// The input is a whole command although no carriage return has come.
bool cReplay::isUnterminated(const sPort& port) const {
    if (port.unterminated.count(port.input) == 0) return false;
    const std::vector<sReplayStep>& steps = port.recorded.steps;
    const size_t next = nextCommand(port, port.next);
    return next == NONE || steps[next].unterminated || !startsWith(steps[next].text, port.input);
}

void cReplay::takeCommand(ePort which, const std::string& command) {
    sPort& port = m_ports[which];
    m_commands.push_back((which == ePORT_GPS ? "gps " : "") + command);
    const std::string wanted = comparableCommand(command);
    const size_t expected = nextCommand(port, port.next);
    if (expected != NONE && port.comparable[expected] == wanted) return take(port, expected);
    if (port.next < port.recorded.steps.size()) differ(which, command);
    if (isStopped()) return;
    ++port.misses;
    const size_t ahead = findAhead(port, wanted);
    const size_t behind = findBehind(port, wanted);
    if (ahead != NONE && (behind == NONE || ahead - port.next < port.next - behind))
        return take(port, ahead);
    const size_t step = behind != NONE ? behind : findAnywhere(port, wanted);
    if (step != NONE) return copyAnswer(port, step);
    answerUnknown(port, which, command);
}

void cReplay::differ(ePort which, const std::string& seen) {
    const sPort& port = m_ports[which];
    if (m_differences++ == 0) m_firstDifference = describe(port, port.next, seen);
}

// The next command from a step on, unless the port hangs up before.
size_t cReplay::nextCommand(const sPort& port, size_t from) const {
    const std::vector<sReplayStep>& steps = port.recorded.steps;
    while (from < steps.size() && steps[from].kind == eSTEP_BYTES)
        ++from;
    return from < steps.size() && steps[from].kind == eSTEP_COMMAND ? from : NONE;
}

size_t cReplay::findAhead(const sPort& port, const std::string& command) const {
    size_t left = AHEAD_MAX + port.misses;
    for (size_t at = nextCommand(port, port.next); at != NONE && left > 0;
         at = nextCommand(port, at + 1), --left)
        if (port.comparable[at] == command) return at;
    return NONE;
}

size_t cReplay::findBehind(const sPort& port, const std::string& command) const {
    for (size_t at = std::min(port.next, port.comparable.size()); at-- > 0;)
        if (port.recorded.steps[at].kind == eSTEP_COMMAND && port.comparable[at] == command)
            return at;
    return NONE;
}

size_t cReplay::findAnywhere(const sPort& port, const std::string& command) const {
    for (size_t at = 0; at < port.comparable.size(); ++at)
        if (port.recorded.steps[at].kind == eSTEP_COMMAND && port.comparable[at] == command)
            return at;
    return NONE;
}

// The place in the recording is now after this command. What the modem still had to send before the
// next recorded command comes first.
void cReplay::take(sPort& port, size_t step) {
    const std::vector<sReplayStep>& steps = port.recorded.steps;
    for (; port.next < step && steps[port.next].kind == eSTEP_BYTES; ++port.next)
        port.ready += steps[port.next].text;
    port.next = step + 1;
    port.misses = 0;
    m_recordedMs = steps[step].ms;
    m_anchorMs = m_nowMs;
}

void cReplay::copyAnswer(sPort& port, size_t step) {
    const std::vector<sReplayStep>& steps = port.recorded.steps;
    const uint64_t sinceMs = steps[step].ms;
    for (size_t at = step + 1; at < steps.size() && steps[at].kind == eSTEP_BYTES; ++at) {
        const auto delayMs = static_cast<double>(steps[at].ms - sinceMs) / m_speed;
        port.copies.add(m_nowMs + static_cast<uint64_t>(delayMs), steps[at].text);
    }
}

void cReplay::answerUnknown(sPort& port, ePort which, const std::string& command) {
    port.ready += (port.echoes ? command + '\r' : "") + "\r\nERROR\r\n";
    const std::string name = (which == ePORT_GPS ? "gps " : "") + command;
    if (std::find(m_unknown.begin(), m_unknown.end(), name) == m_unknown.end())
        m_unknown.push_back(name);
}

void cReplay::advance(uint64_t nowMs) {
    m_nowMs = std::max(m_nowMs, nowMs);
    if (isStopped()) return;
    for (const ePort port : {ePORT_AT, ePORT_GPS})
        advancePort(port);
}

void cReplay::advancePort(ePort which) {
    sPort& port = m_ports[which];
    const std::vector<sReplayStep>& steps = port.recorded.steps;
    while (port.next < steps.size()) {
        const sReplayStep& step = steps[port.next];
        if (step.kind == eSTEP_COMMAND) return leaveOverdue(which);
        if (replayedMs(step.ms) > m_nowMs) return;
        run(port, step);
        ++port.next;
    }
}

// The program has not sent what it had sent before the hang-up.
void cReplay::leaveOverdue(ePort which) {
    sPort& port = m_ports[which];
    const std::vector<sReplayStep>& steps = port.recorded.steps;
    for (size_t at = port.next; at < steps.size(); ++at) {
        const sReplayStep& step = steps[at];
        if (replayedMs(step.ms) + LEAVE_GRACE_MS > m_nowMs) return;
        if (step.kind != eSTEP_LEAVE) continue;
        differ(which, "");
        if (isStopped()) return;
        run(port, step);
        port.next = at + 1;
        return;
    }
}

void cReplay::run(sPort& port, const sReplayStep& step) {
    if (step.kind == eSTEP_BYTES) {
        port.ready += step.text;
        return;
    }
    port.present = step.kind == eSTEP_APPEAR;
    port.input.clear();
    port.ready.clear();
    port.copies.clear();
}

uint64_t cReplay::replayedMs(uint64_t recordedMs) const {
    if (recordedMs <= m_recordedMs) return m_anchorMs;
    const auto passedMs = static_cast<double>(recordedMs - m_recordedMs) / m_speed;
    return m_anchorMs + static_cast<uint64_t>(passedMs);
}

std::string cReplay::takeOutput(ePort port) {
    sPort& from = m_ports[port];
    return std::exchange(from.ready, "") + from.copies.take(m_nowMs);
}

bool cReplay::isOver() const {
    return std::all_of(m_ports.begin(), m_ports.end(),
                       [](const sPort& port) { return port.next == port.recorded.steps.size(); });
}

std::string cReplay::place() const {
    for (const sPort& port : m_ports) {
        if (port.next == port.recorded.steps.size()) continue;
        const sReplayStep& step = port.recorded.steps[port.next];
        return m_name + ":" + std::to_string(step.line) + ": " + shownStep(step);
    }
    return "";
}

std::string cReplay::describe(const sPort& port, size_t step, const std::string& seen) const {
    const std::vector<sReplayStep>& steps = port.recorded.steps;
    // What the modem still sends is not what the program was expected to do.
    while (step + 1 < steps.size() && steps[step].kind == eSTEP_BYTES)
        ++step;
    std::string text = m_name + ":" + std::to_string(steps[step].line) +
                       ": the program differs from the recording\n  expected  " +
                       shownStep(steps[step]) + "\n  seen      " +
                       (seen.empty() ? "nothing" : "<- " + printable(seen, SHOWN_MAX)) + "\n";
    for (size_t at = step > AROUND ? step - AROUND : 0;
         at < std::min(steps.size(), step + AROUND + 1); ++at)
        text += (at == step ? "> " : "  ") + std::to_string(steps[at].line) + "  " +
                shownStep(steps[at]) + "\n";
    return text;
}

}  // namespace le910sim
