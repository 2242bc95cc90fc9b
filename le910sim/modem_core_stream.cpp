#include <algorithm>

#include "le910sim/modem_core.h"
#include "le910sim/nmea.h"
#include "le910sim/sms_pdu.h"
#include "le910sim/state_dump.h"
#include "le910sim/text.h"

namespace le910sim {

// What the two ports do besides commands: the stream of positions, a data call, the texts of
// messages, and repeated unsolicited lines.

namespace {

constexpr uint64_t EPOCH_MS = 1000;

}  // namespace

void cModemCore::startStream(sPort& port, ePortMode mode) {
    port.mode = mode;
    port.nextEpochMs = m_state.nowMs + EPOCH_MS;
    port.lastInputMs = m_state.nowMs;
    port.plusCount = 0;
}

// Ignores everything but +++ alone, with a guard time of silence before and after it.
void cModemCore::receiveInStream(sPort& port, const std::string& bytes) {
    const uint64_t nowMs = m_state.nowMs;
    for (const char byte : bytes) {
        const bool begins = nowMs >= port.lastInputMs + ESCAPE_GUARD_MS;
        const bool continues = port.plusCount > 0 && port.plusCount < 3;
        port.plusCount =
            byte == '+' && (begins || continues) ? (begins ? 1 : port.plusCount + 1) : 0;
        port.lastInputMs = nowMs;
    }
}

void cModemCore::stepStream(sPort& port) {
    const uint64_t nowMs = m_state.nowMs;
    if (port.plusCount == 3 && nowMs >= port.lastInputMs + ESCAPE_GUARD_MS) {
        leaveStream(port);
        return;
    }
    if (port.mode == eMODE_CALL || nowMs < port.nextEpochMs) return;
    port.nextEpochMs = nowMs + EPOCH_MS;
    port.output.add(nowMs, nmeaEpoch(m_state.gps, trackPoint(m_state.gps, nowMs / EPOCH_MS),
                                     port.profile.nmea, modemClock(m_state)));
}

// A data call goes on meanwhile.
void cModemCore::leaveStream(sPort& port) {
    port.plusCount = 0;
    const bool isCall = port.mode == eMODE_CALL;
    const std::vector<sFault> faults = m_faults.hit(port.name, "+++", false, m_state.nowMs);
    const bool stays = std::any_of(faults.begin(), faults.end(), [](const sFault& fault) {
        return fault.replaces() && !fault.execute;
    });
    if (!stays) {
        port.mode = eMODE_COMMAND;
        if (!isCall) port.profile.nmea[0] = 0;
    }
    const std::string reply = isCall ? "OK" : m_state.gps.escapeReply;
    answer(port, "+++", "", "\r\n" + reply + "\r\n", faults);
}

// The end of a message: the answer to PDU or text, and its record.
std::string cModemCore::promptAnswer(sPort& port, const sPrompt& prompt) {
    sSentSms sms;
    if (prompt.length >= 0) {
        std::string why;
        const std::optional<sSentSms> read = readSubmit(prompt.text, why);
        if (read && pduLength(prompt.text) != prompt.length) {
            why = "AT+CMGS gave " + std::to_string(prompt.length) + " octets, the PDU has " +
                  std::to_string(pduLength(prompt.text));
        }
        if (!why.empty()) {
            noteProblem(port, prompt.text, why);
            return framed(port, answerCms(eCMS_PDU_PARAMETER));
        }
        sms = *read;
    } else {
        sms.number = prompt.number;
        sms.text = prompt.text;
        sms.coding = m_state.sms.characterSet;
    }
    if (!isRegistered(m_state)) return framed(port, answerCms(eCMS_NO_SERVICE));
    sms.timeMs = m_state.nowMs;
    m_state.sms.sent.push_back(sms);
    nlohmann::json event = sentToJson(sms);
    event["event"] = "sms sent";
    log(event);
    const int reference = m_state.sms.nextReference;
    m_state.sms.nextReference = reference % 255 + 1;
    return framed(port, answerOk({"+CMGS: " + std::to_string(reference)}));
}

// Messages that wait in the network are stored as soon as there is room.
void cModemCore::storeWaitingSms() {
    sSmsStore& store = m_state.sms;
    if (store.waiting.empty() || m_state.simState() != eCARD_READY || !isRegistered(m_state)) {
        return;
    }
    for (int index = 1; index <= store.capacity && !store.waiting.empty(); ++index) {
        if (store.slots.count(index) != 0) continue;
        store.slots[index] = {eSMS_UNREAD, store.waiting.front()};
        store.waiting.erase(store.waiting.begin());
        if (m_state.setting("+CNMI", 1) != 0) {
            unsolicited("+CMTI: \"SM\"," + std::to_string(index));
        }
    }
}

// A modem that was away does not send the lines that were due meanwhile.
void cModemCore::babble() {
    const uint64_t nowMs = m_state.nowMs;
    for (sBabble& line : m_babble) {
        if (nowMs < line.nextMs) continue;
        m_ports[line.port].output.add(nowMs, line.text);
        line.nextMs = nowMs + line.everyMs;
    }
    m_babble.erase(std::remove_if(m_babble.begin(), m_babble.end(),
                                  [](const sBabble& line) { return line.nextMs > line.untilMs; }),
                   m_babble.end());
}

}  // namespace le910sim
