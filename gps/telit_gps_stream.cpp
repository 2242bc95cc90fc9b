#include <algorithm>
#include <vector>

#include "atcmd/command.h"
#include "device/at_port.h"
#include "device/at_transaction.h"
#include "device/link_state.h"
#include "gps/gps_commands.h"
#include "gps/telit_gps.h"
#include "include/debug.h"
#include "platform/include/text_helpers.h"

// The stream of positions: start, test and stop.

namespace {

constexpr unsigned START_TIMEOUT_S = 2;
constexpr unsigned PROBE_TIMEOUT_S = 1;
constexpr int STOP_ATTEMPTS = 4;

// The modem requires a second of silence before and after the escape, and then time to act.
constexpr unsigned GUARD_BEFORE_US = 1000000;
constexpr unsigned GUARD_AFTER_US = 1100000;

// The lines without any white space.
std::vector<std::string> compactLines(const std::string& response) {
    std::vector<std::string> lines = responseLines(response);
    for (std::string& line : lines)
        line = cleanWhiteSpace(line);
    return lines;
}

// The first sentence of a running stream, nullptr if there is none.
const char* streamSentence(const std::string& response) {
    for (const std::string& line : compactLines(response))
        for (const char* sentence : GPS_STREAM_SENTENCES)
            if (line.find(sentence) != std::string::npos) return sentence;
    return nullptr;
}

}  // namespace

eGeneralErrors cTelitGps::startGpsStream() {
    trace(__func__);
    m_streamOn = false;
    std::string response;
    const ePortReturn result =
        queryModem(m_port, AT_GPS_START_STREAM, eParseCmx::ON_REFUSAL, START_TIMEOUT_S, &response);
    // No final result follows "CONNECT", so silence after it is the normal case.
    if (result != ePORT_OK && result != ePORT_NO_FINAL_RESULT) {
        setSkvsStream(eSKVS_STREAM_NOT_STARTED);
        debug(eLOG_NOTICE, m_debugMask, "%s(): Start GPS stream failed", __func__);
        return eERROR_DEVICE_GPS_START_STREAM_FAILURE;
    }
    debug(eLOG_NOTICE, m_debugMask, "Starting GPS stream");
    const std::vector<std::string> lines = compactLines(response);
    if (std::find(lines.begin(), lines.end(), GPS_STREAM_STARTED) == lines.end()) {
        setSkvsStream(eSKVS_STREAM_NOT_STARTED);
        debug(eLOG_NOTICE, m_debugMask, "%s(): Start GPS stream timeout (no connect message)",
              __func__);
        return eERROR_DEVICE_RESPONSE_TIMEOUT;
    }
    m_streamOn = true;
    debug(eLOG_NOTICE, m_debugMask, "GPS stream started");
    setSkvsStream(eSKVS_STREAM_STARTED);
    return eERROR_DEVICE_GPS_START_STREAM_SUCCESS;
}

bool cTelitGps::isGpsStreamOn() {
    trace(__func__);
    m_streamOn = false;
    std::string response;
    if (sendAtCommand(m_port, AT_GPS_PROBE, response, PROBE_TIMEOUT_S) == ePORT_OK) return false;
    const char* sentence = streamSentence(response);
    if (sentence == nullptr) return false;
    m_streamOn = true;
    forgetLink(m_port);  // a stream does not answer AT, so no answer is owed
    debug(eLOG_NOTICE, m_debugMask, "GPS stream still running (%s)", sentence);
    return true;
}

eGeneralErrors cTelitGps::stopGpsStream() {
    trace(__func__);
    debug(eLOG_NOTICE, m_debugMask, "Stopping GPS stream");
    eGeneralErrors result = eERROR_DEVICE_GPS_STOP_STREAM_FAILURE;
    for (int attempt = 0; attempt < STOP_ATTEMPTS; ++attempt) {
        if (sendEscapeSequence() != ePORT_OK) break;
        if (isGpsStreamOn()) continue;
        result = eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS;
        break;
    }
    setSkvsStream(eSKVS_STREAM_STOPPED);
    return result;
}

ePortReturn cTelitGps::sendEscapeSequence() {
    trace(__func__);
    maybeSleep(GUARD_BEFORE_US);
    const ePortReturn result = writeToPort(m_port, GPS_ESCAPE, false);
    if (result == ePORT_OK) maybeSleep(GUARD_AFTER_US);
    return result;
}
