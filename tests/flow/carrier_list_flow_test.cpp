#include "statemachine/carrier_list.h"

#include "atcmd/catalogue.h"
#include "include/debug.h"
#include "tests/support/flow_fixture.h"

namespace {

class CarrierList : public cFlowFixture {};

}  // namespace

TEST_F(CarrierList, File_IsAJsonObjectWrittenEveryFiveMinutes) {
    start();
    g_i_debugMode = eLOG_STATUS;
    EXPECT_EQ(writeCarrierList("/var/log", false), 1);
    EXPECT_EQ(readFile("/var/log/carrier_list.json"), "{\n}\n");
    EXPECT_EQ(logCount("DEBUG: writeCarrierList(): Wrote file /var/log/carrier_list.json"), 1u);
    telitCarrier_list_Map = {{"310410", "AT&T"}, {"26201", "The \"T\""}};
    EXPECT_EQ(writeCarrierList("/var/log", false), 0);
    passSeconds(299);
    EXPECT_EQ(writeCarrierList("/var/log", false), 0);
    EXPECT_EQ(writeCarrierList("/var/log", true), 1);
    EXPECT_EQ(readFile("/var/log/carrier_list.json"),
              "{\n\"26201\":\"The \"T\"\",\n\"310410\":\"AT&T\"\n}\n");
    passSeconds(1);
    EXPECT_EQ(writeCarrierList("/var/log", false), 0);
    passSeconds(299);
    EXPECT_EQ(writeCarrierList("/var/log", false), 1);
}

TEST_F(CarrierList, OperatorListThatCannotBeWritten_IsNotTriedAgainForFiveMinutes) {
    start();
    EXPECT_EQ(writeCarrierList("/no/such/folder", false), 1);
    EXPECT_EQ(writeCarrierList("/var/log", false), 0);
    passSeconds(300);
    EXPECT_EQ(writeCarrierList("/var/log", false), 1);
    EXPECT_EQ(readFile("/var/log/carrier_list.json"), "{\n}\n");
}
