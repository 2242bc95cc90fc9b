#include "le910sim/device_port.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <stdexcept>

#include "tests/support/pseudo_terminal.h"
#include "tests/support/temp_folder.h"

namespace le910sim {

namespace {

// A device of a fixed name that leads to one terminal after the other.
class Le910simDevicePort : public ::testing::Test {
  protected:
    Le910simDevicePort() { plugIn(); }
    ~Le910simDevicePort() override { unplug(); }

    void plugIn() {
        m_host = openPseudoTerminal();
        ASSERT_EQ(symlink(m_host.path.c_str(), path().c_str()), 0);
    }
    void unplug() {
        unlink(path().c_str());
        if (m_host.modemEnd >= 0) close(m_host.modemEnd);
        m_host.modemEnd = -1;
    }
    std::string path() const { return m_folder / "device"; }

    cTempFolder m_folder;
    sPseudoTerminal m_host = {};
};

}  // namespace

TEST_F(Le910simDevicePort, BytesOfTheHost_ArriveUnchangedAndWithoutEcho) {
    cDevicePort port(path());
    port.appear();
    ASSERT_EQ(write(m_host.modemEnd, "AT\r\x03\x1A", 5), 5);
    ASSERT_TRUE(waitForBytes(port.descriptor(), 5));
    EXPECT_EQ(port.receive(), "AT\r\x03\x1A");
    port.send("\r\nOK\r\n");
    ASSERT_TRUE(waitForBytes(m_host.modemEnd, 6));
    char text[16] = {};
    EXPECT_EQ(read(m_host.modemEnd, text, sizeof(text)), 6);
    EXPECT_STREQ(text, "\r\nOK\r\n");
}

TEST_F(Le910simDevicePort, NothingReceived_IsNoHangUp) {
    cDevicePort port(path());
    port.appear();
    EXPECT_EQ(port.receive(), "");
    EXPECT_TRUE(port.present());
    EXPECT_FALSE(port.takeHangUp());
}

TEST_F(Le910simDevicePort, HangUp_IsReportedOnceAndThePortIsGone) {
    cDevicePort port(path());
    port.appear();
    unplug();
    EXPECT_EQ(port.receive(), "");
    EXPECT_FALSE(port.present());
    EXPECT_TRUE(port.takeHangUp());
    EXPECT_FALSE(port.takeHangUp());
}

TEST_F(Le910simDevicePort, DeviceThatIsAwayForAWhile_IsOpenedWhenItIsBack) {
    cDevicePort port(path());
    port.appear();
    unplug();
    port.receive();
    port.appear();
    EXPECT_FALSE(port.present());
    plugIn();
    port.appear();
    EXPECT_TRUE(port.present());
}

TEST_F(Le910simDevicePort, DeviceThatWasNeverThere_IsAnError) {
    unplug();
    cDevicePort port(path());
    EXPECT_THROW(port.appear(), std::runtime_error);
}

TEST_F(Le910simDevicePort, DeviceThatIsNoTerminal_IsAnError) {
    writeFile(m_folder / "file", "");
    cDevicePort port(m_folder / "file");
    EXPECT_THROW(port.appear(), std::runtime_error);
}

}  // namespace le910sim
