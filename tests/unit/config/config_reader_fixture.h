#ifndef TESTS_UNIT_CONFIG_CONFIG_READER_FIXTURE_H
#define TESTS_UNIT_CONFIG_CONFIG_READER_FIXTURE_H

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "config/config_reader.h"
#include "include/debug.h"
#include "tests/support/captured_log.h"
#include "tests/support/temp_folder.h"

constexpr size_t LARGEST_FILE = 131072;

// Every field of the record, so that two records can be compared as a whole.
inline std::string describe(const sConfigFileOpts& o) {
    std::ostringstream text;
    text << "debugMode " << o.debugMode << "\nconfigRead " << o.configRead << "\nsyncTime "
         << o.syncTime << "\nroamingAllowed " << o.roamingAllowed << "\napn " << o.apn << "\napn2 "
         << o.apn2 << "\nenableInterface " << o.enableInterface << "\ndataDirective "
         << o.dataDirective.value << " " << o.dataDirective.text << "\ndefaultRoute "
         << o.defaultRoute << "\nspare " << o.spare << "\nprofileContext " << o.profileContext
         << "\napnDirective " << o.apnDirective << "\nusername " << o.username << "\npassword "
         << o.password << "\nauthType " << o.authType << "\nnetPrefChanged " << o.netPrefChanged
         << "\nfirmwareSlot " << o.firmwareSlot << "\nnetPref " << o.netPref << "\nnetPrefText "
         << o.netPrefText << "\nuseDns " << o.useDns << "\nmtu " << o.mtu << "\noperatorMode "
         << o.operatorMode << "\noperatorName " << o.operatorName << "\nbandMode " << o.bandMode
         << "\nband3gText " << o.band3gText << "\nband4gText " << o.band4gText << "\nbandGsm "
         << o.bandGsm << "\nband3gBits " << o.band3gBits << "\nband4gBits " << o.band4gBits
         << "\nmd5 " << o.md5 << "\nsimSlot " << o.simSlot << "\ngpsEnable " << o.gpsEnable
         << "\nptpInterface " << o.ptpInterface << "\nipFamily " << o.ipFamily << "\n";
    return text.str();
}

// Lines that set every key, in order, to a value that is not its default.
const char* const FULL_FILE =
    "DEBUG_MODE=0\n"
    "CM_ENABLE_INTERFACE=yes\n"
    "CM_APN=Internet.Example\n"
    "CM_APN2=second\n"
    "CM_SYNC_TIME=no\n"
    "CM_DATA_SPEED=4G\n"
    "CM_ROAMING=home\n"
    "CM_DEFAULTROUTE=no\n"
    "CM_USERNAME=User\n"
    "CM_PASSWORD=Pass=Word\n"
    "CM_AUTH_TYPE=PAP\n"
    "CM_FW_SLOT=1\n"
    "CM_USE_DNS=no\n"
    "CM_MTU=1400\n"
    "CM_OPERATOR_MODE=4\n"
    "CM_OPERATOR=26201\n"
    "CM_BAND_MODE=manual\n"
    "CM_3G_BAND=2\n"
    "CM_4G_BAND=B3,B7\n"
    "CM_SIM_SLOT=2\n"
    "CM_GPS_ENABLE=no\n"
    "CM_PTP_INT=yes\n"
    "CM_IPFAMILY=ipv4\n";

// A configuration file and the record that is read from it.
struct cConfigReaderTest : testing::Test {
    cConfigReaderTest() {
        g_i_debugMode = 0;
        reader.init(path, 0);
        clearCapturedLog();
    }
    ~cConfigReaderTest() override { g_i_debugMode = 0; }

    unsigned read(const std::string& content) {
        writeFile(path, content);
        clearCapturedLog();
        return reader.readConfig(opts);
    }

    cTempFolder folder;
    const std::string path = folder / "cellular1.conf";
    cConfigReader reader;
    sConfigFileOpts opts;
};

#endif
