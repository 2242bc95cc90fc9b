#include "device/at_transaction.h"

#include <algorithm>
#include <cstdint>
#include <string_view>

#include "device/at_port.h"
#include "device/late_answers.h"
#include "device/link_state.h"
#include "include/debug.h"
#include "include/service_manager.h"
#include "include/sleep.h"

std::string g_s_lastAtCmd;
std::queue<std::string> g_que_testAtResponses;

namespace {

constexpr unsigned POLL_INTERVAL_US = 10000;
constexpr uint64_t POLLS_PER_SECOND = 100;
constexpr unsigned TEST_POLL_INTERVAL_US = 10;
constexpr uint64_t TEST_POLLS = 2;

// At least the length of the longest final result text ("+CME ERROR:") less one. That much of what
// was searched is searched again with the next piece, which may complete a code.
constexpr size_t FINAL_CODE_OVERLAP = 12;

struct sPollPlan {
    uint64_t polls;
    unsigned intervalUs;
};

sPollPlan makePollPlan(unsigned timeoutS) {
    if (isTestPolling()) return {TEST_POLLS, TEST_POLL_INTERVAL_US};
    const uint64_t seconds = uint64_t{timeoutS} + 1;
    debug(eLOG_PORT_POLL, g_i_debugMode,
          "readAtCommandResponse(): Waiting up to %llu seconds for AT command response",
          static_cast<unsigned long long>(seconds));
    return {POLLS_PER_SECOND * seconds, POLL_INTERVAL_US};
}

// Whether the text contains the code followed by a line end.
bool hasFinalLine(const std::string& text, std::string_view code) {
    for (size_t at = text.find(code); at != std::string::npos; at = text.find(code, at + 1)) {
        const size_t after = at + code.size();
        if (after < text.size() && (text[after] == eCR || text[after] == eLF)) return true;
    }
    return false;
}

ePortReturn findFinalResult(const std::string& text) {
    if (hasFinalLine(text, "OK")) {
        debug(eLOG_PORT, g_i_debugMode, "readAtCommandResponse(): Got 'OK' while reading response");
        return ePORT_OK;
    }
    if (hasFinalLine(text, "ERROR")) {
        debug(eLOG_PORT, g_i_debugMode,
              "readAtCommandResponse(): Got 'ERROR' while reading response");
        return ePORT_ERROR;
    }
    if (text.find("+CME ERROR:") != std::string::npos ||
        text.find("+CMS ERROR:") != std::string::npos) {
        debug(eLOG_PORT, g_i_debugMode,
              "readAtCommandResponse(): Got '+CMX ERROR' while reading response");
        return ePORT_CMX_ERROR;
    }
    debug(eLOG_PORT_POLL, g_i_debugMode,
          "readAtCommandResponse(): Did not get OK/ERROR yet from modem");
    return ePORT_NO_FINAL_RESULT;
}

// A response that grows piece by piece. The pieces before the last hold no final code, so only the
// last one is searched, with the end of the text before it.
class cGrowingResponse {
  public:
    // If echo is not empty, what is received before it belongs to an earlier command.
    cGrowingResponse(std::string& response, const std::string& echo)
        : m_response(response), m_echo(echo) {}

    ePortReturn add(const std::string& piece) {
        if (m_response.size() < RESPONSE_MAX)
            m_response.append(piece, 0, RESPONSE_MAX - m_response.size());
        if (!m_echo.empty()) return addBeforeEcho();
        return m_window.empty() ? search(piece) : search(m_window += piece);
    }
    // What was received before the echo.
    std::string takeLate() {
        if (!m_echo.empty()) m_late.swap(m_response);
        return m_late;
    }

  private:
    ePortReturn addBeforeEcho() {
        const size_t at = m_response.find(m_echo);
        if (at == std::string::npos) return ePORT_NO_FINAL_RESULT;
        m_late = m_response.substr(0, at);
        m_response.erase(0, at);
        m_echo.clear();
        return search(m_response);
    }
    ePortReturn search(const std::string& text) {
        const ePortReturn result = findFinalResult(text);
        const size_t kept = std::min(text.size(), FINAL_CODE_OVERLAP);
        m_window = text.substr(text.size() - kept);
        return result;
    }

    std::string& m_response;
    std::string m_echo;
    std::string m_late;
    std::string m_window;  // the end of what was searched
};

ePortReturn pollForFinalResult(int port, cGrowingResponse& growing, const sPollPlan& plan) {
    ePortReturn result = ePORT_NO_FINAL_RESULT;
    std::string piece;
    for (uint64_t poll = 0; poll < plan.polls; ++poll) {
        notifyAlive();
        sleepMicroseconds(plan.intervalUs);
        const int count = readFromPort(port, piece, static_cast<int>(PORT_READ_MAX));
        debug(count != 0 ? eLOG_PORT : eLOG_PORT_POLL, g_i_debugMode,
              "readAtCommandResponse(): Read %d bytes from port", count);
        if (count == 0) continue;
        result = growing.add(piece);
        if (result != ePORT_NO_FINAL_RESULT) break;
    }
    return result;
}

void writeTestResponse(int port) {
    if (g_que_testAtResponses.empty()) return;
    writeToPort(port, g_que_testAtResponses.front(), true);
    g_que_testAtResponses.pop();
}

// late: what was received before echo.
ePortReturn collectResponse(int port, std::string& response, unsigned timeoutS,
                            const std::string& echo, std::string& late) {
    response.clear();
    const char* const function = "readAtCommandResponse";
    if (port == -1) {
        debug(eLOG_PORT, g_i_debugMode, "%s(): Error: Cannot read from FH %d", function, port);
        return ePORT_ERROR;
    }
    debug(eLOG_PORT, g_i_debugMode, "%s(): Reading from FH %d", function, port);
    cGrowingResponse growing(response, echo);
    const ePortReturn result = pollForFinalResult(port, growing, makePollPlan(timeoutS));
    late = growing.takeLate();
    debug(eLOG_RESPONSE, g_i_debugMode, "%s(): Returning string class : %s", function,
          response.c_str());
    writeTestResponse(port);
    return result;
}

}  // namespace

ePortReturn readAtCommandResponse(int port, std::string& response, unsigned timeoutS) {
    std::string late;
    const ePortReturn result = collectResponse(port, response, timeoutS, "", late);
    if (port != -1 && result != ePORT_NO_FINAL_RESULT) noteLateAnswer(port);
    return result;
}

ePortReturn sendAtCommand(int port, const std::string& command, std::string& response,
                          unsigned timeoutS) {
    response.clear();
    g_s_lastAtCmd = command;
    if (!isPromptText(command)) dropLateAnswers(port);
    const ePortReturn written = writeToPort(port, command, true);
    if (written != ePORT_OK) return written;
    std::string late;
    const ePortReturn result =
        collectResponse(port, response, timeoutS, requiredEcho(port, command), late);
    noteAnswer(port, command, response, late, result);
    return result;
}
