#ifndef TESTS_FLOW_SIM_PIN_LIFE_FIXTURE_H
#define TESTS_FLOW_SIM_PIN_LIFE_FIXTURE_H

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "include/device_records.h"
#include "platform/include/key_value_store.h"
#include "tests/flow/sim_pin_fixture.h"

constexpr const char* STORE_FOLDER = "/run/cellslot/skvs";
constexpr const char* KEY = "CELLULAR_SLOT1_CPIN_TRIED";

// One PIN over answers, outages, and restarts of daemon and host, against the simulated SIM.
class PinLife : public cSimPinFixture {
  protected:
    void setSim(const nlohmann::json& values) { order({{"op", "set"}, {"sim", values}}); }
    // The SIM requires its PIN again, with these attempts left.
    void lockAgain(int attempts = 3) { setSim({{"verified", false}, {"pin_attempts", attempts}}); }
    // Restarts the daemon; files, store and SIM stay unchanged.
    void startAgain() {
        resetSimPinState();
        createCpinMonitors(device.sim);
        device.sim.s_outcome.clear();
        commands();
    }
    // Restarts the host: the store is empty.
    void startHostAgain() {
        resetStoreFolder();
        startAgain();
    }
    static void resetStoreFolder() {
        std::filesystem::remove_all("/run/cellslot");
        setKeyValueStorePath(STORE_FOLDER);
    }
    // isSeen: the modem executes the command and its answer is lost; else the command is lost.
    void silence(const std::string& command, bool isSeen, int count = 1) {
        order({{"op", "fault"},
               {"match", command},
               {"kind", "silence"},
               {"count", count},
               {"execute", isSeen}});
    }
    // The pass that sends the PIN and gets no answer; the port is closed after it.
    void lookWithoutAnswer() {
        EXPECT_EQ(look(), eERROR_DEVICE_RESPONSE_TIMEOUT);
        notePinOutage();
    }
    // A check of the SIM that must not send the PIN.
    void expectNotSent() {
        commands();
        EXPECT_EQ(look(), eFAILURE);
        EXPECT_EQ(unlocksSent(), 0u);
    }
    void expectUnlocked() {
        commands();
        EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
        EXPECT_EQ(unlocksSent(), 1u);
    }
    // Writes the file as an editor does; only its time changes.
    static void writeAgain() {
        const std::string content = readFile(CURRENT);
        usleep(20000);  // the file system's clock ticks
        writeFile(CURRENT, content);
    }
    static void makeOld(const char* path, time_t seconds = 1000) {
        const timespec times[2] = {{seconds, 0}, {seconds, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, path, times, 0), 0);
    }
};

#endif
