#include "tests/matrix/faulty_modem.h"

#include <gtest/gtest.h>

#include <string>

#include "device/at_port.h"
#include "device/at_transaction.h"
#include "gps/gps_commands.h"

namespace {

constexpr const char* GPS_PATH = "/tmp/modem-gps";
constexpr unsigned TIMEOUT_S = 2;
constexpr uint64_t US_PER_MS = 1000;

}  // namespace

// Else the silence after an escape, for which the daemon sleeps, would come before it.
TEST(FaultyModem, BytesBeforeALongSleep_AreReceivedWhenTheyWereWritten) {
    cFaultyModem modem({{"gps", {{"enabled", true}}}}, "/tmp/modem-at", GPS_PATH);
    int port = -1;
    ASSERT_EQ(openDevice(GPS_PATH, port), 0);
    std::string response;
    sendAtCommand(port, AT_GPS_START_STREAM, response, TIMEOUT_S);
    ASSERT_NE(response.find(GPS_STREAM_STARTED), std::string::npos) << response;
    modem.pass(1000 * US_PER_MS);
    EXPECT_EQ(writeToPort(port, GPS_ESCAPE, false), ePORT_OK);
    modem.pass(1100 * US_PER_MS);
    EXPECT_EQ(sendAtCommand(port, AT_GPS_PROBE, response, TIMEOUT_S), ePORT_OK) << response;
    EXPECT_NE(response.find("NO CARRIER"), std::string::npos) << response;
    closeDevice(port);
}
