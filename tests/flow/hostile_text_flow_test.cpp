#include <unistd.h>

#include <algorithm>
#include <regex>

#include "include/device_records.h"
#include "include/options.h"
#include "include/signal_flags.h"
#include "sms/sms.h"
#include "statemachine/network_interface.h"
#include "statemachine/state_machine.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/flow_fixture.h"

// No byte of the modem, the network, a message, a file name or the configuration changes which
// commands the shell runs. The tests use the real shell, so an injected command would be noticed.

namespace {

std::vector<std::string> g_commandLines;

}  // namespace

extern "C" int __real_system(const char* command);
extern "C" int __wrap_system(const char* command);

// Replaces system() at link time: records the line and runs it.
extern "C" int __wrap_system(const char* command) {
    g_commandLines.emplace_back(command);
    return __real_system(command);
}

namespace {

constexpr const char* CANARY = "/storage/canary";

const char* const PAYLOADS[] = {
    "$(touch /storage/canary)",
    "`touch /storage/canary`",
    ";touch /storage/canary;",
    "|touch /storage/canary",
    "&touch /storage/canary&",
    "&&touch /storage/canary",
    "'; touch /storage/canary; '",
    "\"; touch /storage/canary; \"",
    ">/storage/canary",
    "$(touch${IFS}/storage/canary)",
    "{touch,/storage/canary}",
    "10.0.0.1;touch${IFS}/storage/canary",
    "10.0.0.1 --dns 6.6.6.6",
    "10.0.0.1\n touch /storage/canary",
    "--down",
    "-t /storage",
    "-h",
    "\\",
    "*",
    "~root",
    "$HOME",
};

const char* const HEALTHY_FORMS[] = {
    R"(setup_cellint\.sh -i wwan0 --down  &>/dev/null)",
    R"(setup_cellint\.sh -i wwan0 --up  --defaultroute  -m \d+)"
    // Values that the network did not assign are empty; the script accepts that.
    R"(( --address [\d.]+ --netmask [\d.]* --gateway [\d.]*)?( --dns [\da-fA-F:.]*)*)"
    R"(( --ipv6auto )? &>/dev/null)",
    R"re(systime\.sh --set "\d+/\d+/\d+ \d+:\d+:\d+" &>/dev/null)re",
    R"(ResetCellular now force -s 1 &)",
    R"(mv -f /tmp/sms/send/[\w.+@%,:=-]+ /tmp/sms/send_(ok|fail)/[\w.+@%,:=-]+)",
};

bool isHealthy(const std::string& line) {
    for (const char* form : HEALTHY_FORMS)
        if (std::regex_match(line, std::regex(form))) return true;
    return false;
}

class HostileText : public cFlowFixture {
  protected:
    HostileText() { g_commandLines.clear(); }

    void writeConfig(const std::string& more = "") {
        writeFile("/etc/vuk/cellular1.conf", "CM_ENABLE_INTERFACE=yes\nCM_GPS_ENABLE=no\n" + more);
        writeFile("/run/poststart", "");
    }
    void run(unsigned seconds) {
        simulatedPort().onTurn([this, seconds] {
            if (simulatedPort().nowMs() >= uint64_t{seconds} * 1000) b_got_sigterm = true;
        });
        runStateMachine();
    }
    // Sets the answer to a command for the whole test.
    void answer(const std::string& command, const std::vector<std::string>& lines) {
        order({{"op", "fault"}, {"match", command}, {"kind", "answer"}, {"lines", lines}});
    }
    static void expectNothingElseRan() {
        EXPECT_FALSE(fileExists(CANARY));
        for (const std::string& line : g_commandLines)
            EXPECT_TRUE(isHealthy(line)) << line;
    }
    static size_t linesWith(const std::string& part) {
        size_t count = 0;
        for (const std::string& line : g_commandLines)
            if (line.find(part) != std::string::npos) ++count;
        return count;
    }
};

class HostileTextEach : public HostileText, public ::testing::WithParamInterface<const char*> {};

// One field of the addresses at a time; the others are valid.
std::string addressesWith(size_t field, const std::string& text) {
    std::vector<std::string> fields = {"10.64.1.1.255.255.255.0", "10.64.1.254", "10.0.0.1",
                                       "10.0.0.2"};
    fields[field] = text;
    std::string line = "+CGCONTRDP: 1,5,\"internet\"";
    for (const std::string& one : fields)
        line += ",\"" + one + "\"";
    return line;
}

}  // namespace

TEST_F(HostileText, HealthyDay_RunsLinesOfTheHealthyForms) {
    writeConfig("CM_APN=internet\nCM_SYNC_TIME=yes\n");
    start(nlohmann::json::object(), cSimulatedPort::TERMINAL);
    run(8);
    expectNothingElseRan();
    EXPECT_EQ(linesWith(" --up "), 1u);
    EXPECT_EQ(linesWith("systime.sh"), 1u);
    EXPECT_GE(linesWith(" --down "), 2u);
}

TEST_P(HostileTextEach, AddressesOfTheNetwork_NeverReachTheShell) {
    for (size_t field = 0; field < 4; ++field) {
        g_commandLines.clear();
        const std::string appended = std::string("10.64.1.1") + GetParam();
        sDeviceInfo fresh;
        fresh.sim = device.sim;
        fresh.network.pdp_dynamic[0].ePDP_ip_type = eIP_TYPE_IPV4;
        sPdpDynamicParams& context = fresh.network.pdp_dynamic[0];
        context.s_ipaddr = context.s_mask = context.s_gateway = "10.64.1.1";
        context.s_dns_prim_addr = context.s_dns_sec_addr = "10.0.0.1";
        std::string* const places[] = {&context.s_ipaddr, &context.s_gateway,
                                       &context.s_dns_prim_addr, &context.s_dns_sec_addr};
        for (const std::string& text : {std::string(GetParam()), appended}) {
            *places[field] = text;
            EXPECT_EQ(setupNetwork(fresh.network, config), eERROR_DEVICE_NETWORK_SETUP_FAILURE)
                << text;
        }
        EXPECT_TRUE(g_commandLines.empty());
    }
    EXPECT_FALSE(fileExists(CANARY));
}

TEST_P(HostileTextEach, AnswersOfTheModem_NeverReachTheShell) {
    const std::string text = GetParam();
    writeConfig("CM_APN=internet\nCM_SYNC_TIME=yes\n");
    start(nlohmann::json::object(), cSimulatedPort::TERMINAL);
    allowProblems();
    answer("AT+CGCONTRDP=1", {addressesWith(text.size() % 4, text)});
    answer("AT+CGPADDR=1", {"+CGPADDR: 1,\"" + text + "\""});
    answer("AT#CCLK?", {"#CCLK: \"" + text + "\""});
    answer("AT+COPN", {"+COPN: \"310410\",\"" + text + "\""});
    answer("AT+COPS?", {"+COPS: 0,0,\"" + text + "\",7"});
    answer("AT+CIMI", {"310410" + text});
    answer("AT+CCID?", {"+CCID: " + text});
    answer("AT+CNUM", {"+CNUM: \"" + text + "\",\"" + text + "\",129"});
    answer("AT+CGSN", {text});
    answer("ATI3", {text});
    answer("AT+CGMR", {text});
    answer("AT#PSNT?;#RFSTS",
           {"#PSNT: 0,4", "#RFSTS: \"" + text + "\"," + text + ",-98,-68,-9," + text});
    run(45);
    expectNothingElseRan();
    EXPECT_GE(linesWith(" --down "), 2u);
}

TEST_P(HostileTextEach, TimesOfTheNetwork_OnlySetAClockOfNumbers) {
    const std::string text = GetParam();
    for (const std::string& time :
         {text, "20/06/15,20:32:05-24,1" + text, "20/06/" + text + ",20:32:05-24,1",
          text + "20/06/15,20:32:05"}) {
        g_commandLines.clear();
        resetDaemon();
        writeConfig("CM_APN=internet\nCM_SYNC_TIME=yes\n");
        start(nlohmann::json::object(), cSimulatedPort::TERMINAL);
        answer("AT#CCLK?", {"#CCLK: \"" + time + "\""});
        run(5);
        const tCommands sent = commands();
        EXPECT_EQ(std::count(sent.begin(), sent.end(), "AT#CCLK?"), 1) << time;
        expectNothingElseRan();
    }
}

TEST_P(HostileTextEach, ValuesOfTheConfiguration_NeverReachTheShell) {
    const std::string text = GetParam();
    std::string lines;
    for (const char* key : {"CM_APN", "CM_APN2", "CM_USERNAME", "CM_PASSWORD", "CM_OPERATOR",
                            "CM_MTU", "CM_AUTH_TYPE", "CM_DATA_SPEED", "CM_IPFAMILY", "CM_USE_DNS",
                            "CM_3G_BAND", "CM_4G_BAND", "CM_FW_SLOT", "CM_SIM_SLOT"})
        lines += std::string(key) + "=" + text + "\n";
    writeConfig(lines + "CM_OPERATOR_MODE=1\nCM_BAND_MODE=manual\n");
    start(nlohmann::json::object(), cSimulatedPort::TERMINAL);
    allowProblems();
    run(12);
    expectNothingElseRan();
    EXPECT_GE(linesWith(" --down "), 2u);
}

TEST_P(HostileTextEach, InterfaceOfThatName_IsNeverSetUp) {
    const std::string text = GetParam();
    std::vector<std::string> names = {text};
    // After other characters a dash is an ordinary character.
    if (!std::regex_match(text, std::regex(R"([\w-]+)"))) names.push_back("wwan0" + text);
    for (const std::string& name : names) {
        g_S_options.s_interface = name;
        EXPECT_EQ(upNetworkInterface(device.network, config), eERROR_DEVICE_NETWORK_SETUP_FAILURE);
        EXPECT_EQ(downNetworkInterface(), eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE);
    }
    EXPECT_TRUE(g_commandLines.empty());
    EXPECT_FALSE(fileExists(CANARY));
}

TEST_P(HostileTextEach, MessagesAndTheirFileNames_NeverReachTheShell) {
    std::string name = GetParam();
    std::replace(name.begin(), name.end(), '/', '_');
    const std::string text = GetParam();
    writeConfig("CM_APN=internet\nCM_SYNC_TIME=no\n");
    start(nlohmann::json::object(), cSimulatedPort::TERMINAL);
    allowProblems();
    // touch without a path would create its file in the working folder.
    ASSERT_EQ(chdir("/storage"), 0);
    for (const std::string& file : {name, "touch" + name + "canary", "-" + name})
        writeFile("/tmp/sms/send/" + file, "TO=+12025550124\nMSG=" + text + "\n");
    writeFile("/tmp/sms/send/number", "TO=" + text + "\nMSG=" + text + "\n");
    order({{"op", "inject-sms"}, {"from", "+12025550123"}, {"text", text}});
    run(60);
    expectNothingElseRan();
    // A sent file has been moved, whatever its name.
    for (const std::string& file : {name, "-" + name})
        EXPECT_FALSE(fileExists("/tmp/sms/send/" + file)) << file;
}

INSTANTIATE_TEST_SUITE_P(Each, HostileTextEach, ::testing::ValuesIn(PAYLOADS));
