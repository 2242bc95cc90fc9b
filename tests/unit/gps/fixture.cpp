#include "tests/unit/gps/fixture.h"

#include <filesystem>

#include "atcmd/catalogue.h"
#include "device/at_transaction.h"
#include "include/debug.h"
#include "platform/include/key_value_store.h"

// The linker replaces the real functions by these two ("--wrap").
int wrappedSkvsSet(const char* key, const char* value) __asm__("__wrap__Z8skvs_setPKcS0_");
int realSkvsSet(const char* key, const char* value) __asm__("__real__Z8skvs_setPKcS0_");

namespace {

constexpr const char* KEY_START = "CELLULAR_SLOT2";
constexpr size_t KEY_START_LENGTH = 14;

// All descriptors but those of the store, which opens and closes its files at any time.
size_t openDescriptors() {
    size_t count = 0;
    std::error_code ignored;  // of the descriptor that lists the folder
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const std::string target = std::filesystem::read_symlink(entry, ignored);
        if (target.find("/store/") == std::string::npos) ++count;
    }
    return count;
}

}  // namespace

int wrappedSkvsSet(const char* key, const char* value) {
    const std::string name(key);
    const std::string rest = name.compare(0, KEY_START_LENGTH, KEY_START) == 0
                                 ? name.substr(KEY_START_LENGTH)
                                 : "(no slot)" + name.substr(name.find('_', name.find('_') + 1));
    if (cGpsFixture::s_failingKeys.count(rest) != 0) return -1;
    cGpsFixture::s_writes.push_back({rest, value});
    return realSkvsSet(key, value);
}

extern "C" int __wrap_system(const char* command) {
    cGpsFixture::s_shellCommands.push_back(command);
    return cGpsFixture::s_shellStatus;
}

const nlohmann::json ENABLED_RECEIVER = {{"gps", {{"enabled", true}}}};

const tTexts STOP_COMMANDS = {"+++", "AT"};
const tTexts QUERY_COMMANDS = {"AT$GPSSW"};
const tTexts QUERIES_COMMANDS = {"AT$GPSSW", "AT$GPSSW", "AT$GPSSW", "AT$GPSSW", "AT$GPSSW"};
const tTexts START_COMMANDS = {"AT$GPSNMUN=3,1,0,0,0,1,0"};
const tTexts ENABLE_COMMANDS = {"AT#PORTCFG=11",       "AT$GPSD=5", "AT$GPSGPIO=5,6,8,7",
                                "AT$GPSSERSPEED=9600", "AT$GPSP=1", "AT$GPSSAV"};

const std::vector<sBadAnswer>& badAnswers() {
    static const std::vector<sBadAnswer> TABLE = {
        {"silence", {{"kind", "silence"}}},
        {"error", {{"kind", "error"}}},
        {"cme", {{"kind", "cme"}, {"number", 4}}},
        {"garbage", {{"kind", "garbage"}, {"bytes", 300}, {"place", "instead"}}},
    };
    return TABLE;
}

void startStreamAtModem(cGpsTerminal& terminal) {
    terminal.modem().receiveGps(START_COMMANDS[0] + "\r", terminal.nowMs());
    terminal.pass(2500000);
    ASSERT_NE(terminal.takeUnread().find("$GPGGA"), std::string::npos);
}

std::set<std::string> cGpsFixture::s_failingKeys;
int cGpsFixture::s_shellStatus = 0;
tEntries cGpsFixture::s_writes;
tTexts cGpsFixture::s_shellCommands;

cGpsFixture::cGpsFixture() {
    setKeyValueStorePath(m_folder / "store");
    g_que_testAtResponses = {};
    g_i_debugMode = 0;
    setupVariableMaps();
    resetGpsState();
    clearCapturedLog();
    s_failingKeys.clear();
    s_shellStatus = 0;
    s_writes.clear();
    s_shellCommands.clear();
}

cGpsFixture::~cGpsFixture() = default;

void cGpsFixture::SetUp() {
    m_descriptors = openDescriptors();
}

void cGpsFixture::TearDown() {
    if (m_terminal) {
        for (const std::string& problem : m_terminal->modem().problems())
            ADD_FAILURE() << "the modem did not understand: " << problem;
    }
    m_terminal.reset();
    EXPECT_EQ(openDescriptors(), m_descriptors) << "a descriptor is left open";
    resetGpsState();
}

void cGpsFixture::start(const nlohmann::json& scenario) {
    m_terminal.reset();
    m_terminal = std::make_unique<cGpsTerminal>(scenario);
    initOn(m_terminal->path());
}

void cGpsFixture::initOn(const std::string& path) {
    m_path = path;
    gps.init(path, "2");
}

void cGpsFixture::restartDaemon() {
    resetGpsState();
    chipset.clear();
    streamFlag = false;
    gps.init(m_path, "2");
    setKeyValueStorePath(m_folder / "store");
}

std::string cGpsFixture::storedValue(const std::string& name) {
    char value[64];
    const int length = skvs_get((KEY_START + name).c_str(), value, sizeof value);
    return length < 0 ? "(none)" : value;
}

void cGpsFixture::storeValue(const std::string& name, const std::string& value) {
    ASSERT_EQ(realSkvsSet((KEY_START + name).c_str(), value.c_str()), 0);
}

std::string cGpsFixture::gpsdctl(const char* action) const {
    return std::string("timeout -t 5 gpsdctl ") + action + " " + m_path + " &>/dev/null";
}
