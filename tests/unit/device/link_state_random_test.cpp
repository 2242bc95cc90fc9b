#include <gtest/gtest.h>

#include <random>

#include "device/at_port.h"
#include "device/at_transaction.h"
#include "device/link_state.h"
#include "tests/support/fake_port.h"

// A modem that is randomly prompt, late, silent or talkative. Its behaviour depends on a seed, so
// that a failed run can be repeated.

namespace {

constexpr unsigned SEEDS = 60;
constexpr int COMMANDS = 30;
constexpr uint64_t PROMPT_MS = 20;     // delay of a modem that answers at once
constexpr uint64_t RECOVERY_MAX = 3;   // commands until the two are in step again
constexpr uint64_t QUIET_MS = 100000;  // longer than the delays of all answers of a run together
constexpr unsigned LATE_MS[] = {0, 500, 900, 1100, 1900, 2100, 3500, 9000, 61000};

class cMoodyModem {
  public:
    cMoodyModem(unsigned seed, bool echoes) : m_random(seed), m_echoes(echoes) {
        // It echoes a command when it processes it, not while it is busy with another.
        m_port.setEcho(false);
    }

    // True if the answer belonged to the command, or there was none.
    bool ask(bool isMoody) {
        const std::string name = "+C" + std::to_string(++m_number) + "X";
        const std::string command = (draw(2) == 0 ? "AT" : "at ") + name;
        script(command, name, isMoody);
        const unsigned timeoutS = draw(3);
        const uint64_t before = m_port.elapsedMs();
        std::string response;
        m_result = sendAtCommand(m_port.descriptor(), command, response, timeoutS);
        m_tookMs = m_port.elapsedMs() - before;
        EXPECT_LE(m_tookMs, (timeoutS + 1) * 1000 + LATE_ANSWER_MS + PROMPT_MS);
        return m_result == ePORT_NO_FINAL_RESULT || isOwn(response, name);
    }
    bool isPrompt() const { return m_result != ePORT_NO_FINAL_RESULT && m_tookMs == PROMPT_MS; }
    // All late answers arrive and stay in the port.
    void waitForQuiet() {
        std::string nothing;
        for (uint64_t waited = 0; waited < QUIET_MS; waited += 1000)
            readAtCommandResponse(m_port.descriptor(), nothing, 0);
    }

  private:
    unsigned draw(unsigned count) { return static_cast<unsigned>(m_random() % count); }
    const char* unsolicited() {
        const char* const lines[] = {"", "", "\r\nRING\r\n", "\r\n+CREG: 1\r\n",
                                     "\r\n#NITZ: 26/11/22\r\n"};
        return lines[draw(5)];
    }
    void script(const std::string& command, const std::string& name, bool isMoody) {
        if (isMoody && draw(6) == 0) {
            m_port.silence();
            return;
        }
        const char* const finals[] = {"OK", "ERROR", "+CME ERROR: 567"};
        std::string text = unsolicited();
        if (m_echoes) text += command + "\r";
        text += unsolicited() + ("\r\n" + name) + ": 1\r\n" + unsolicited();
        text += std::string("\r\n") + finals[draw(3)] + "\r\n" + unsolicited();
        m_port.answerLate(isMoody && draw(4) == 0 ? LATE_MS[draw(std::size(LATE_MS))] : 0, text);
    }
    static bool isOwn(const std::string& response, const std::string& name) {
        const size_t first = response.find("\r\n+C");
        if (response.find("\r\n" + name + ": 1") == std::string::npos) return false;
        for (size_t at = first; at != std::string::npos; at = response.find("X: 1", at + 1))
            if (response.compare(at, 4, "X: 1") == 0 &&
                response.compare(at + 1 - name.size(), name.size(), name) != 0)
                return false;
        return true;
    }

    std::mt19937 m_random;
    bool m_echoes;
    cFakePort m_port;
    int m_number = 0;
    ePortReturn m_result = ePORT_OK;
    uint64_t m_tookMs = 0;
};

void expectBackInStep(cMoodyModem& modem) {
    modem.waitForQuiet();
    for (uint64_t command = 0; command < RECOVERY_MAX; ++command)
        modem.ask(false);
    for (int command = 0; command < 3; ++command) {
        EXPECT_TRUE(modem.ask(false));
        EXPECT_TRUE(modem.isPrompt());
    }
}

}  // namespace

TEST(RandomModem, WithEcho_NoCommandGetsAnothersAnswerAndBothAreSoonInStepAgain) {
    for (unsigned seed = 0; seed < SEEDS; ++seed) {
        SCOPED_TRACE(seed);
        cMoodyModem modem(seed, true);
        EXPECT_TRUE(modem.ask(false));  // has shown that it echoes commands
        for (int command = 0; command < COMMANDS; ++command)
            EXPECT_TRUE(modem.ask(true)) << command;
        expectBackInStep(modem);
        if (HasFailure()) return;
    }
}

TEST(RandomModem, WithoutEcho_NoCommandTakesLongerAndBothAreSoonInStepAgain) {
    for (unsigned seed = 0; seed < SEEDS; ++seed) {
        SCOPED_TRACE(seed);
        cMoodyModem modem(seed, false);
        for (int command = 0; command < COMMANDS; ++command)
            modem.ask(true);
        expectBackInStep(modem);
        if (HasFailure()) return;
    }
}
