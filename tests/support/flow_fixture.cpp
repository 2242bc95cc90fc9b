#include "tests/support/flow_fixture.h"

#include <ftw.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "atcmd/catalogue.h"
#include "include/device_records.h"
#include "include/options.h"
#include "platform/include/key_value_store.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "statemachine/bring_up.h"
#include "statemachine/polling.h"
#include "statemachine/sim_pin.h"
#include "statemachine/timers.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/set_up_commands.h"

namespace {

int removeEntry(const char* path, const struct stat*, int, FTW*) {
    remove(path);  // a folder that contains another file system stays
    return 0;
}

// The folders belong to this test alone: flow tests run in a namespace of their own. File systems
// mounted below them, such as the checkout, are not changed.
void emptyFolder(const std::string& path) {
    constexpr int DESCRIPTORS = 16;
    std::filesystem::create_directories(path);
    for (const auto& entry : std::filesystem::directory_iterator(path))
        if (entry.path().string().find("cellslot-test-") == std::string::npos)
            nftw(entry.path().c_str(), removeEntry, DESCRIPTORS, FTW_DEPTH | FTW_MOUNT | FTW_PHYS);
}

void requireNamespace() {
    const char* inside = getenv("CELLSLOT_PRIVATE_NAMESPACE");
    if (inside != nullptr && std::string(inside) == "1") return;
    fprintf(stderr,
            "flow tests change the host's files: run them with "
            "scripts/private_namespace.sh\n");
    abort();
}

std::string atPlace(const tCommands& list, size_t place) {
    return place < list.size() ? "\"" + list[place] + "\"" : "nothing";
}

// The first command that differs; empty when none does.
std::string difference(const std::string& work, const tCommands& sent, const tCommands& listed) {
    size_t place = 0;
    while (place < sent.size() && place < listed.size() && sent[place] == listed[place])
        ++place;
    if (place == sent.size() && place == listed.size()) return "";
    return work + " sends " + atPlace(sent, place) + " where tests/support/set_up_commands.h has " +
           atPlace(listed, place);
}

// A test whose constructor fails or skips it has no body.
void refuseToRun(const std::string& problem) {
    static bool isReported = false;
    if (isReported) GTEST_SKIP() << "see the first test";
    isReported = true;
    FAIL() << problem;
}

}  // namespace

cFlowFixture::cFlowFixture() : m_device(std::make_unique<sDeviceInfo>()), device(*m_device) {
    requireNamespace();
    static const std::string problem = trySetUp();
    prepare();
    if (!problem.empty()) refuseToRun(problem);
}

void cFlowFixture::prepare() {
    for (const char* folder : {"/etc/vuk", "/etc/zoq", "/var/log", "/storage", "/tmp", "/run"})
        emptyFolder(folder);
    resetDaemon();
    clearCapturedLog();
    setupVariableMaps();
    g_S_options = {"", "/dev/null", "wwan0", "1"};
    device.sim.s_cpin_path = "/etc/vuk/cellular_cpin.1";
    device.sim.s_cpin_new_path = "/etc/vuk/cellular_cpin_new.1";
    device.sim.s_puk_path = "/etc/vuk/cellular_puk.1";
    config.simSlot = 1;
    config.apn = "internet";
    config.enableInterface = 1;
    config.syncTime = false;
    config.gpsEnable = false;
}

// Says what is wrong with a set-up and a poll; empty when nothing is.
std::string cFlowFixture::trySetUp() {
    prepare();
    start();
    setupModem(port(), device, config);
    std::string problem = difference("set-up", commands(), setupCommands());
    device.network.b_registered = true;
    pollDevice(port(), device, config);
    if (problem.empty()) problem = difference("a poll", commands(), pollCommands());
    const std::vector<std::string> unknown = m_port->modem().problems();
    if (!unknown.empty())
        problem =
            "the simulated modem (le910sim/commands_*.cpp) does not understand: " + unknown[0];
    m_port.reset();
    device = {};
    config = {};
    return problem;
}

cFlowFixture::~cFlowFixture() = default;

void cFlowFixture::start(const nlohmann::json& scenario, cSimulatedPort::eKind kind) {
    m_port.reset();  // the previous port restores the clock
    m_port = std::make_unique<cSimulatedPort>(scenario, kind);
    g_S_options.s_device = m_port->path();
    createTimers();
    initSMS(g_s_root_sms_path);
    createCpinMonitors(device.sim);
}

void cFlowFixture::TearDown() {
    if (!m_port || m_problemsAllowed) return;
    for (const std::string& problem : m_port->modem().problems())
        ADD_FAILURE() << "the modem did not understand: " << problem;
}

void cFlowFixture::fault(const std::string& command, const std::string& kind, int number,
                         int count) {
    nlohmann::json request = {
        {"op", "fault"}, {"match", command}, {"kind", kind}, {"count", count}};
    if (kind == "cme" || kind == "cms") request["number"] = number;
    order(request);
}

void cFlowFixture::sendEarlier(const std::string& command) {
    simulatedPort().modem().receiveAt(command + "\r", simulatedPort().nowMs());
    simulatedPort().modem().advance(simulatedPort().nowMs());
    simulatedPort().modem().takeAtOutput();
    commands();
}

std::string cFlowFixture::stored(const std::string& key) {
    char value[512];
    return skvs_get(key.c_str(), value, sizeof value) == -1 ? "(no such key)" : value;
}
