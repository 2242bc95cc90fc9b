#include <algorithm>

#include "le910sim/modem_core.h"
#include "le910sim/text.h"

namespace le910sim {

// The path of a command line through the modem: from bytes to the framed answer.

namespace {

constexpr size_t LINE_LENGTH_MAX = 4096;
constexpr char CTRL_Z = 26;
constexpr char ESC = 27;

// A modem searches for AT, so an escape sequence before it, sent in command mode, does no harm.
std::string withoutEscape(const std::string& line) {
    const size_t start = line.find_first_not_of('+');
    return start == std::string::npos || start < 3 ? line : line.substr(start);
}

// A terminal of the host echoes until it is set up: what waits in it when it is opened, such as the
// lines of a restart, comes back in part, before the first command.
std::string withoutOwnEcho(const std::string& line, const std::vector<std::string>& bootLines) {
    for (const std::string& own : bootLines) {
        for (size_t length = std::min(own.size(), line.size()); length > 0; --length) {
            if (line.compare(0, length, own, 0, length) != 0) continue;
            const std::string rest = line.substr(length);
            if (rest.empty() || stringUpper(rest.substr(0, 2)) == "AT") return rest;
        }
    }
    return line;
}

std::string cmeLine(const sPort& port, int number) {
    return "\r\n+CME ERROR: " +
           (port.profile.cmee == 2 ? cmeText(number) : std::to_string(number)) + "\r\n";
}

}  // namespace

void cModemCore::consumeInput(sPort& port) {
    size_t used = 0;
    while (used < port.input.size() && !port.running && m_state.nowMs >= port.busyUntilMs &&
           !m_away) {
        const char byte = port.input[used++];
        switch (port.mode) {
            case eMODE_COMMAND:
                consumeCommandByte(port, byte);
                break;
            case eMODE_PROMPT:
                consumePromptByte(port, byte);
                break;
            case eMODE_NMEA:
            case eMODE_CALL:
                receiveInStream(port, std::string(1, byte));
                break;
        }
    }
    port.input.erase(0, std::min(used, port.input.size()));
}

void cModemCore::consumeCommandByte(sPort& port, char byte) {
    if (byte == '\n') return;
    if (byte != '\r') {
        if (port.line.size() < LINE_LENGTH_MAX) {
            port.line += byte;
        } else {
            port.lineTooLong = true;
        }
        return;
    }
    std::string line;
    line.swap(port.line);
    if (port.lineTooLong) {
        port.lineTooLong = false;
        noteReceived(port, line);
        noteProblem(port, line, "line too long");
        answer(port, line, "", "\r\nERROR\r\n", {});
    } else if (!line.empty()) {
        startLine(port, line);
    }
}

void cModemCore::consumePromptByte(sPort& port, char byte) {
    if (byte == ESC) {
        endPrompt(port, true);
    } else if (byte == CTRL_Z && !port.prompt.deaf) {
        endPrompt(port, false);
    } else if (port.prompt.text.size() < LINE_LENGTH_MAX) {
        port.prompt.text += byte;
    }
}

void cModemCore::startLine(sPort& port, const std::string& received) {
    noteReceived(port, received);
    const std::string line = withoutOwnEcho(received, m_state.behaviour.bootLines);
    if (line.empty()) return;
    // The text for a prompt that never came, or an ESC after it: a modem would not answer.
    const bool stray = line.back() == CTRL_Z && startsWith(port.lastCommand, "AT+CMGS=");
    if (stray || line == std::string(1, ESC)) {
        noteExchange(port, line, "");
        return;
    }
    const std::string command = withoutEscape(line);
    if (command.find_first_not_of('+') == std::string::npos) {
        noteExchange(port, line, "");
        return;
    }
    port.lastCommand = command;
    const std::vector<sFault> faults = m_faults.hit(port.name, command, false, m_state.nowMs);
    const std::string echo = port.profile.echo ? line + "\r" : "";
    const auto replacing = std::find_if(faults.begin(), faults.end(),
                                        [](const sFault& fault) { return fault.replaces(); });
    if (replacing != faults.end() && !replacing->execute) {
        answer(port, line, echo, "", faults);
        return;
    }
    sRunningLine running;
    running.line = line;
    running.echo = echo;
    running.faults = faults;
    running.resumeMs = m_state.nowMs;
    port.running = running;
    parseLine(port, *port.running);
    continueLine(port);
}

void cModemCore::parseLine(sPort& port, sRunningLine& running) {
    try {
        running.commands = parseCommandLine(withoutEscape(running.line));
    } catch (const cMalformed& problem) {
        noteProblem(port, running.line, problem.what());
        running.reply.final = eFINAL_ERROR;
    }
}

// Runs commands until one fails, one waits, or none is left.
void cModemCore::continueLine(sPort& port) {
    sRunningLine& running = *port.running;
    while (running.reply.final == eFINAL_OK && running.next < running.commands.size()) {
        const sCommand& command = running.commands[running.next++];
        running.effects.waitMs = 0;
        try {
            sCall call{m_state, command, port.profile, running.effects};
            sReply reply = runCommand(call);
            for (std::string& line : reply.lines)
                running.reply.lines.push_back(std::move(line));
            running.reply.final = reply.final;
            running.reply.number = reply.number;
        } catch (const cMalformed& problem) {
            noteProblem(port, running.line, problem.what());
            running.reply.lines.clear();
            running.reply.final = eFINAL_ERROR;
        }
        settleAndReport();
        if (running.effects.waitMs != 0) {
            running.resumeMs = m_state.nowMs + running.effects.waitMs;
            return;
        }
    }
    finishLine(port);
}

void cModemCore::finishLine(sPort& port) {
    const sRunningLine running = *port.running;
    port.running.reset();
    answer(port, running.line, running.echo, framed(port, running.reply), running.faults);
    if (!m_away) applyEffects(port, running);
}

void cModemCore::applyEffects(sPort& port, const sRunningLine& running) {
    const sEffects& effects = running.effects;
    if (effects.streamNmea) startStream(port, eMODE_NMEA);
    if (effects.dataCall) startStream(port, eMODE_CALL);
    if (running.reply.final == eFINAL_PROMPT) {
        port.mode = eMODE_PROMPT;
        port.prompt = sPrompt();
        port.prompt.length = effects.promptLength;
        port.prompt.number = effects.promptNumber;
        port.prompt.command = port.lastCommand;
        port.prompt.sinceMs = m_state.nowMs;
    }
    if (effects.restart) leave(m_state.timings.restartGraceMs, m_state.timings.restartMs, true);
}

std::string cModemCore::framed(const sPort& port, const sReply& reply) const {
    std::string text;
    if (!reply.lines.empty()) text = "\r\n" + joined(reply.lines, "\r\n") + "\r\n";
    switch (reply.final) {
        case eFINAL_OK:
            return text + "\r\nOK\r\n";
        case eFINAL_ERROR:
            return text + "\r\nERROR\r\n";
        case eFINAL_CME:
            return text + (port.profile.cmee == 0 ? "\r\nERROR\r\n" : cmeLine(port, reply.number));
        case eFINAL_CMS:
            return text + "\r\n+CMS ERROR: " + std::to_string(reply.number) + "\r\n";
        case eFINAL_CONNECT:
            return text + "\r\nCONNECT\r\n";
        case eFINAL_CONNECT_AND_OK:
            return text + "\r\nCONNECT\r\n\r\nOK\r\n";
        case eFINAL_PROMPT:
            return text + "\r\n> ";
        case eFINAL_NO_CARRIER:
            return text + "\r\nNO CARRIER\r\n";
    }
    return text;
}

// The text with which a fault replaces the answer. False: nothing is sent.
bool cModemCore::startFault(sPort& port, const std::vector<sFault>& faults, const std::string& line,
                            std::string& body) {
    const auto found = std::find_if(faults.begin(), faults.end(),
                                    [](const sFault& fault) { return fault.replaces(); });
    if (found == faults.end()) return true;
    switch (found->kind) {
        case eFAULT_HANGUP:
            noteExchange(port, line, "");
            leave(0, found->delayMs, false);
            return false;
        case eFAULT_SILENCE:
            body.clear();
            return true;
        case eFAULT_ERROR:
            body = "\r\nERROR\r\n";
            return true;
        case eFAULT_CME:
            body = cmeLine(port, found->number);
            return true;
        case eFAULT_CMS:
            body = "\r\n+CMS ERROR: " + std::to_string(found->number) + "\r\n";
            return true;
        case eFAULT_ANSWER:
            body.clear();
            if (!found->lines.empty()) body = "\r\n" + joined(found->lines, "\r\n") + "\r\n";
            if (!found->final.empty()) body += "\r\n" + found->final + "\r\n";
            return true;
        case eFAULT_RAW:
            body = found->raw;
            return true;
        case eFAULT_DELAY:
        case eFAULT_PIECES:
        case eFAULT_GARBAGE:
        case eFAULT_URC:
            break;
    }
    return true;
}

void cModemCore::answer(sPort& port, const std::string& line, const std::string& echo,
                        const std::string& body, const std::vector<sFault>& faults,
                        uint64_t extraMs) {
    std::string text = body;
    if (!startFault(port, faults, line, text)) return;
    const bool noEcho =
        std::any_of(faults.begin(), faults.end(), [](const sFault& fault) { return !fault.echo; });
    if (!noEcho) port.output.add(m_state.nowMs, echo);
    uint64_t dueMs = m_state.nowMs + m_state.timings.replyMs + extraMs;
    std::string sent;
    for (const sPortion& portion : shapeAnswer(faults, text)) {
        dueMs += portion.waitMs;
        port.output.add(dueMs, portion.bytes);
        sent += portion.bytes;
    }
    port.busyUntilMs = dueMs;
    noteExchange(port, line, sent);
}

void cModemCore::endPrompt(sPort& port, bool aborted) {
    const sPrompt prompt = port.prompt;
    const std::string line = prompt.text + (aborted ? ESC : CTRL_Z);
    noteReceived(port, line);
    port.mode = eMODE_COMMAND;
    port.prompt = sPrompt();
    if (aborted) {
        answer(port, line, "", "\r\nOK\r\n", {});
        return;
    }
    const std::vector<sFault> faults = m_faults.hit(port.name, prompt.command, true, m_state.nowMs);
    const auto replacing = std::find_if(faults.begin(), faults.end(),
                                        [](const sFault& fault) { return fault.replaces(); });
    if (replacing != faults.end() && replacing->kind == eFAULT_SILENCE) {
        port.mode = eMODE_PROMPT;
        port.prompt = prompt;
        port.prompt.text.clear();
        port.prompt.deaf = true;
    }
    const bool runs = replacing == faults.end() || replacing->execute;
    const std::string body = runs ? promptAnswer(port, prompt) : "";
    const std::string echo = port.profile.echo ? prompt.text : "";
    answer(port, line, echo, body, faults, runs ? m_state.sms.sendDelayMs : 0);
}

}  // namespace le910sim
