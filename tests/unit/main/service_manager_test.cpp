#include "include/service_manager.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "include/shell.h"
#include "platform/include/timer_clock.h"
#include "tests/support/notify_socket.h"
#include "tests/support/temp_folder.h"

namespace {

uint64_t g_nowMs = 0;

uint64_t nowMs() {
    return g_nowMs;
}

uint64_t aSecondLater() {
    return g_nowMs += 1000;
}

using tMessages = std::vector<std::string>;

class ServiceManager : public ::testing::Test {
  protected:
    ServiceManager() {
        g_nowMs = 5000;
        setTimerClock(nowMs);
    }
    ~ServiceManager() override {
        socket.reset();
        connectServiceManager();
        setTimerClock(nullptr);
    }

    void connect(const char* watchdogUs = nullptr, const std::string& watchdogPid = "") {
        if (watchdogUs != nullptr) setenv("WATCHDOG_USEC", watchdogUs, 1);
        if (!watchdogPid.empty()) setenv("WATCHDOG_PID", watchdogPid.c_str(), 1);
        connectServiceManager();
    }

    tMessages heartbeatsOf(const char* watchdogUs, const std::string& watchdogPid = "") {
        connect(watchdogUs, watchdogPid);
        notifyAlive();
        return socket->messages();
    }

    cTempFolder folder;
    std::unique_ptr<cNotifySocket> socket = std::make_unique<cNotifySocket>(folder / "notify");
};

const tMessages HEARTBEAT = {"WATCHDOG=1"};

}  // namespace

TEST_F(ServiceManager, Connected_EachMessageIsADatagram) {
    connect();
    notifyReady();
    notifyStatus("registered");
    notifyStopping();
    EXPECT_EQ(socket->messages(), (tMessages{"READY=1", "STATUS=registered", "STOPPING=1"}));
}

TEST_F(ServiceManager, AbstractSocket_IsReached) {
    socket.reset();
    socket = std::make_unique<cNotifySocket>("@cellslot-test-" + std::to_string(getpid()));
    connect();
    notifyReady();
    EXPECT_EQ(socket->messages(), tMessages{"READY=1"});
}

TEST_F(ServiceManager, NoSocket_NothingIsSentAndNothingFails) {
    unsetenv("NOTIFY_SOCKET");
    connect("1000000");
    notifyReady();
    notifyStatus("registered");
    notifyAlive();
    EXPECT_EQ(socket->messages(), tMessages{});
}

TEST_F(ServiceManager, InvalidAddresses_AreIgnored) {
    for (const std::string& name : {std::string(""), std::string("/"), std::string("relative"),
                                    std::string("vsock:2:1234"), "/" + std::string(200, 'x')}) {
        setenv("NOTIFY_SOCKET", name.c_str(), 1);
        connect();
        notifyReady();
    }
    EXPECT_EQ(socket->messages(), tMessages{});
}

TEST_F(ServiceManager, Connected_VariablesAreNotInherited) {
    connect("1000000", std::to_string(getpid()));
    EXPECT_EQ(runShellCommand("test -z \"$NOTIFY_SOCKET$WATCHDOG_USEC$WATCHDOG_PID\""), 0);
}

TEST_F(ServiceManager, Status_OnlyChangesAreSentAndNoLineCanBeForged) {
    connect();
    notifyStatus("searching");
    notifyStatus("searching");
    notifyStatus("on\nWATCHDOG=1");
    EXPECT_EQ(socket->messages(), (tMessages{"STATUS=searching", "STATUS=on WATCHDOG=1"}));
}

TEST_F(ServiceManager, Watchdog_OnlyIfAPeriodIsSetForThisProcess) {
    const std::string self = std::to_string(getpid());
    EXPECT_EQ(heartbeatsOf("60000000"), HEARTBEAT);
    setenv("NOTIFY_SOCKET", (folder / "notify").c_str(), 1);
    EXPECT_EQ(heartbeatsOf("60000000", self), HEARTBEAT);
    for (const char* period : {"", "0", "-1", "soon", "999"}) {
        setenv("NOTIFY_SOCKET", (folder / "notify").c_str(), 1);
        EXPECT_EQ(heartbeatsOf(period), tMessages{}) << period;
    }
    setenv("NOTIFY_SOCKET", (folder / "notify").c_str(), 1);
    EXPECT_EQ(heartbeatsOf("60000000", "1" + self), tMessages{});
}

TEST_F(ServiceManager, Heartbeat_AtMostOneASecond) {
    EXPECT_EQ(heartbeatsOf("60000000"), HEARTBEAT);
    g_nowMs += 999;
    notifyAlive();
    EXPECT_EQ(socket->messages(), tMessages{});
    g_nowMs += 1;
    notifyAlive();
    EXPECT_EQ(socket->messages(), HEARTBEAT);
}

TEST_F(ServiceManager, ShortPeriod_FourHeartbeatsInIt) {
    EXPECT_EQ(heartbeatsOf("2000000"), HEARTBEAT);
    g_nowMs += 500;
    notifyAlive();
    EXPECT_EQ(socket->messages(), HEARTBEAT);
}

TEST_F(ServiceManager, ShellCommand_HeartbeatBeforeAndAfter) {
    connect("60000000");
    setTimerClock(aSecondLater);
    runShellCommand("true");
    EXPECT_EQ(socket->messages(), (tMessages{"WATCHDOG=1", "WATCHDOG=1"}));
}

TEST_F(ServiceManager, FullQueue_DoesNotBlock) {
    connect("1000");
    // More than fits into the receiver's queue; a call that waits would hang here.
    for (int i = 0; i < 2000; ++i)
        notifyStatus("state " + std::to_string(i));
    const tMessages arrived = socket->messages();
    ASSERT_FALSE(arrived.empty());
    EXPECT_EQ(arrived.front(), "STATUS=state 0");
    EXPECT_LT(arrived.size(), 2000u);
}
