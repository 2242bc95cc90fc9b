#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>

#include "device/link_state.h"
#include "include/sleep.h"
#include "platform/include/text_helpers.h"
#include "platform/include/timer_clock.h"
#include "sms/sms.h"
#include "tests/unit/platform/sms_pdu/support.h"
#include "tests/unit/sms/fixture.h"

// A modem whose message store survives the daemon, and a daemon that is killed at any system call,
// restarted, and left without disk space. All messages of the modem arrive, each part once.
// CELLSLOT_SEED=<number> repeats a run.

namespace {

constexpr int ROUNDS = 12;
constexpr size_t STORE_MAX = 128;
constexpr size_t PDU_MAX = 400;

enum eStored { eFREE, eUNREAD, eREAD };

struct sStored {
    eStored state;
    char pdu[PDU_MAX];
};

// The modem at the other end of a socket, on the clock of the fixture. Its store is shared with the
// daemon's process, so that changes by a killed process are kept.
class cModelModem {
  public:
    cModelModem() {
        void* memory = mmap(nullptr, sizeof(sStored) * STORE_MAX, PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        m_store = static_cast<sStored*>(memory);
        s_current = this;
        setSleepFunction(onSleep);
        connect();
    }
    ~cModelModem() {
        disconnect();
        munmap(m_store, sizeof(sStored) * STORE_MAX);
        setSleepFunction(nullptr);
        setTimerClock(nullptr);
    }
    cModelModem(const cModelModem&) = delete;
    cModelModem& operator=(const cModelModem&) = delete;

    void connect() {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        m_descriptor = ends[0];
        m_modem = ends[1];
        resetLinkState();
        setTimerClock(clockMs);
    }
    void disconnect() const {
        close(m_descriptor);
        close(m_modem);
    }
    int descriptor() const { return m_descriptor; }

    bool give(const std::string& pdu) {
        for (size_t i = 0; i < STORE_MAX; ++i) {
            if (m_store[i].state != eFREE) continue;
            strncpy(m_store[i].pdu, pdu.c_str(), PDU_MAX - 1);
            m_store[i].state = eUNREAD;
            return true;
        }
        return false;
    }
    bool isEmpty() const {
        return std::all_of(m_store, m_store + STORE_MAX,
                           [](const sStored& stored) { return stored.state == eFREE; });
    }

  private:
    static void onSleep(unsigned microseconds) {
        s_current->m_elapsedUs += microseconds;
        s_current->takeTurn();
    }
    static uint64_t clockMs() { return 1000000 + s_current->m_elapsedUs / 1000; }

    void takeTurn() {
        char buffer[512];
        ssize_t count;
        while ((count = read(m_modem, buffer, sizeof buffer)) > 0)
            m_pending.append(buffer, static_cast<size_t>(count));
        for (size_t end; (end = m_pending.find('\r')) != std::string::npos;) {
            const std::string command = m_pending.substr(0, end);
            m_pending.erase(0, end + 1);
            m_out += command + "\r" + answerTo(command) + "\r\nOK\r\n";
        }
        while (!m_out.empty() && (count = write(m_modem, m_out.data(), m_out.size())) > 0)
            m_out.erase(0, static_cast<size_t>(count));
    }
    std::string answerTo(const std::string& command) {
        if (command == "AT+CMGL=0") return listed(eUNREAD);
        if (command == "AT+CMGL=1") return listed(eREAD);
        if (startsWith(command, "AT+CMGD=1,")) removeRead();
        return "";
    }
    std::string listed(eStored state) {
        std::string text;
        for (size_t i = 0; i < STORE_MAX; ++i) {
            if (m_store[i].state != state) continue;
            m_store[i].state = eREAD;
            const std::string pdu = m_store[i].pdu;
            // The service centre's address comes first: its length, then its octets.
            const size_t octets = pdu.size() / 2 - 1 - std::stoul(pdu.substr(0, 2), nullptr, 16);
            text += "\r\n+CMGL: " + std::to_string(i + 1) + ",0,\"\"," + std::to_string(octets) +
                    "\r\n" + pdu;
        }
        return text + "\r\n";
    }
    void removeRead() {
        for (size_t i = 0; i < STORE_MAX; ++i)
            if (m_store[i].state == eREAD) m_store[i].state = eFREE;
    }

    static cModelModem* s_current;
    sStored* m_store = nullptr;
    int m_descriptor = -1;
    int m_modem = -1;
    uint64_t m_elapsedUs = 0;
    std::string m_pending;
    std::string m_out;
};

cModelModem* cModelModem::s_current = nullptr;

class SmsModel : public cSmsFixture {
  protected:
    size_t below(size_t end) { return randomBelow(random, end); }

    // Two or three messages of each of four kinds of senders, which share two references.
    void makePdus() {
        pdus.clear();
        expected.clear();
        int message = 0;
        for (const char* from : {"22255", "+22255", "MyBank", "Shop24", "Bank24"}) {
            for (size_t left = 2 + below(2); left > 0; --left, ++message) {
                char clock[32];
                snprintf(clock, sizeof clock, "20/06/15,%02d:32:05+00", message);
                const int total = static_cast<int>(below(4));
                const int reference = 7 + static_cast<int>(below(2));
                for (int number = std::min(total, 1); number <= total; ++number) {
                    const std::string text =
                        "[" + std::to_string(message) + "." + std::to_string(number) + "]";
                    expected.push_back(text);
                    pdus.push_back(deliverPdu(from, text, reference, number, total, clock));
                }
            }
        }
        std::shuffle(pdus.begin(), pdus.end(), random);
    }

    void check() {
        sleepMicroseconds(5000000);
        checkSMS(modem.descriptor(), device);
    }

    void restart() {
        modem.disconnect();
        modem.connect();
        // The clock of the killed daemon was ahead.
        sleepMicroseconds(60000000);
        resetSmsState();
        for (const auto& entry : std::filesystem::directory_iterator(root))
            if (entry.is_regular_file()) setFileTime(entry.path(), time(nullptr) - 70);
        initSMS(root);
    }

    // One check, with or without a fault.
    void step() {
        switch (below(4)) {
            case 0:
                kills +=
                    killedAtCall(1 + static_cast<int>(below(400)), [this] { check(); }) ? 1 : 0;
                restart();
                check();
                return;
            case 1: {
                const cNoSpace none;
                check();
                return;
            }
            case 2:
                restart();
                check();
                return;
            default:
                check();
        }
    }

    void takeAway() {
        for (const std::string& name : names("recv")) {
            arrived.push_back(findNeedleString(readFile(in("recv", name)), "MSG=", ""));
            std::filesystem::remove(in("recv", name));
        }
    }

    // Each part is in one message, and in order there.
    void expectEachPartOnce() const {
        std::vector<std::string> parts;
        for (const std::string& text : arrived) {
            int last = -1;
            for (size_t at = 0; at < text.size(); at = text.find(']', at) + 1) {
                const std::string part = text.substr(at, text.find(']', at) + 1 - at);
                const int number = textToInt(part.substr(part.find('.') + 1));
                EXPECT_TRUE(last == -1 || number == last + 1) << text;
                last = number;
                parts.push_back(part);
            }
        }
        std::sort(parts.begin(), parts.end());
        std::vector<std::string> wanted = expected;
        std::sort(wanted.begin(), wanted.end());
        EXPECT_EQ(parts, wanted);
    }

    std::mt19937 random = seededRandom();
    cModelModem modem;
    int kills = 0;
    std::vector<std::string> pdus;
    std::vector<std::string> expected;
    std::vector<std::string> arrived;
};

}  // namespace

TEST_F(SmsModel, KilledAndRestartedAndWithoutSpace_EachPartArrivesOnce) {
    for (int round = 0; round < ROUNDS && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        makePdus();
        arrived.clear();
        restart();
        while (!pdus.empty()) {
            for (size_t left = below(8); left > 0 && !pdus.empty(); --left) {
                ASSERT_TRUE(modem.give(pdus.back()));
                pdus.pop_back();
            }
            step();
            if (below(2) == 0) takeAway();
        }
        check();
        check();
        takeAway();
        expectEachPartOnce();
        EXPECT_TRUE(modem.isEmpty());
        EXPECT_TRUE(names("recv_parts").empty());
    }
    EXPECT_GT(kills, 0);
}
