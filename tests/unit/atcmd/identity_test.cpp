#include "atcmd/identity.h"

#include <gtest/gtest.h>

#include "atcmd/catalogue.h"
#include "include/device_records.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/reply_torture.h"
#include "tests/unit/atcmd/every_command.h"

// Replies are made up unless a case says that it was recorded.

namespace {

using tParse = void (*)(const std::string&, sModemInfo&);

void torture(tParse parse, const std::string& reply) {
    tortureReply(reply, [=](const std::string& response) {
        sModemInfo modem;
        parse(response, modem);
        expectBounded(modem);
    });
}

// A record in which every field that these functions reset has another value.
sModemInfo usedModem() {
    sModemInfo modem;
    modem.s_manufacturer = "Telit";
    modem.b_manufacturer_is_telit = true;
    modem.e_model = eTELIT_MODEL_LE910_EU_V2;
    modem.s_model = "LE910-EU V2";
    modem.i_supported_net_bits = 7;
    modem.s_serial_number = "1";
    modem.s_imei = "1";
    modem.s_firmware_version = "20.00.402";
    modem.s_hardware = "1.10";
    modem.s_own_number_name = "name";
    modem.s_own_number = "1";
    modem.i_own_number_type = 145;
    modem.b_dual_firmware = true;
    modem.i_firmware_slot = 1;
    modem.e_firmware_carrier = eFIRMWARE_CARRIER_VERIZON;
    modem.s_firmware_carrier = "Verizon";
    modem.b_verizon_firmware = true;
    modem.i_temperature_c = 28;
    modem.e_temp_level = eTEMP_LEVEL_NORMAL;
    modem.s_temp_level = "Normal temperature";
    return modem;
}

struct sTemperatureCase {
    const char* line;
    int level;
    int temperatureC;
    const char* text;
};

sModemInfo temperatureOf(const std::string& line) {
    sModemInfo modem;
    parseDeviceTemperature(modemReply({line}), modem);
    return modem;
}

}  // namespace

TEST(ParseModemManu, Replies_GiveTheMaker) {
    const struct {
        std::string reply;
        const char* name;
        bool isTelit;
    } cases[] = {
        {"ATI3\r" + modemReply({"Telit"}), "Telit", true},
        {modemReply({"Manufacturer: Telit Wireless"}), "Telit", true},
        {"ATI3\r" + modemReply({"Quectel"}), "Quectel", false},
        {"ATI3\r" + modemReply({"ABCD"}), "ABCD", false},
        {"ATI3\r" + modemReply({"ABC"}), "Unknown", false},
        {"ATI3\r" + modemReply({"ABC", "Maker"}), "Maker", false},
        {"ATI3\r" + modemReply({"1Maker", "#Maker", "Other"}), "Other", false},
        {"ATI3\r" + modemReply({"1 Telit"}), "Unknown", false},
        {modemReply({"Maker", "Telit"}), "Maker", false},
        {modemReply({}), "Unknown", false},
        {"", "Unknown", false},
        {"ATI3\r\nATI3 \r\n ATI3\r\nOK\r\n", "Unknown", false},
    };
    for (const auto& row : cases) {
        sModemInfo modem = usedModem();
        parseModemManu(row.reply, modem);
        EXPECT_EQ(modem.s_manufacturer, row.name) << row.reply;
        EXPECT_EQ(modem.b_manufacturer_is_telit, row.isTelit) << row.reply;
    }
    torture(parseModemManu, "ATI3\r" + modemReply({"Telit"}));
    torture(parseModemManu, "ATI3\r" + modemReply({"Maker of Modems"}));
}

TEST(ParseTelitModel, Lines_GiveModelAndTechnologies) {
    const struct {
        const char* line;
        int model;
        const char* name;
        unsigned netBits;
        const char* technologies;
    } cases[] = {
        {"LE910-NA V2", 4, "LE910-NA V2", 6, "3G/4G"},
        {"LE910-NA1", 3, "LE910-NA1", 6, "3G/4G"},
        {"LE910-EU V2", 8, "LE910-EU V2", 7, "2G/3G/4G"},
        {"x LE910-EU V2 y", 8, "LE910-EU V2", 7, "2G/3G/4G"},
        {"LE910-NA1 LE910-NA V2", 4, "LE910-NA V2", 6, "3G/4G"},
        {"LE910B4-NA", 0, "Unknown", 0, nullptr},
        {"LE910-SV V2", 0, "Unknown", 0, nullptr},
        {"LE910-AU V2", 0, "Unknown", 0, nullptr},
        {"le910-na v2", 0, "Unknown", 0, nullptr},
        // recorded
        {"LE910-NAG", 0, "Unknown", 0, nullptr},
        {"LE910-SVG", 0, "Unknown", 0, nullptr},
        {"LE910C1-EUX", 0, "Unknown", 0, nullptr},
    };
    for (const auto& row : cases) {
        const cLogMode mode(eLOG_AT_DETAIL);
        sModemInfo modem;
        parseTelitModel("AT+GMM\r" + modemReply({row.line}), modem);
        EXPECT_EQ(modem.e_model, row.model) << row.line;
        EXPECT_EQ(modem.s_model, row.name) << row.line;
        EXPECT_EQ(modem.i_supported_net_bits, row.netBits) << row.line;
        if (row.technologies == nullptr) {
            EXPECT_TRUE(capturedLog().empty()) << row.line;
        } else {
            EXPECT_EQ(capturedLog(),
                      std::vector<std::string>{"DEBUG: Device '" + std::string(row.name) +
                                               "' detected, supports " + row.technologies});
        }
    }
}

TEST(ParseTelitModel, TwoLines_FirstLineWins) {
    sModemInfo modem;
    parseTelitModel(modemReply({"LE910-EU V2", "LE910-NA V2"}), modem);
    EXPECT_EQ(modem.e_model, eTELIT_MODEL_LE910_EU_V2);
}

TEST(ParseTelitModel, DamagedReplies_GiveAValidRecord) {
    torture(parseTelitModel, modemReply({"LE910-NA V2"}));
}

TEST(GetTelitModel, NotInited_IsTestModeAndAnError) {
    for (const char* line : {"NOT INITED", "Modem not inited yet", "Not Inited"}) {
        cFakePort port;
        port.answer(modemReply({line}));
        sModemInfo modem = usedModem();
        EXPECT_EQ(getTelitModel(port.descriptor(), modem), ePORT_ERROR) << line;
        EXPECT_EQ(modem.e_model, eTELIT_MODEL_NOT_INITED) << line;
        EXPECT_EQ(modem.s_model, "Unknown") << line;
        EXPECT_EQ(modem.i_supported_net_bits, 0u) << line;
    }
}

TEST(GetTelitModel, NotInitedTogetherWithAModel_IsTheModel) {
    cFakePort port;
    port.answer(modemReply({"LE910-NA1", "not inited"}));
    sModemInfo modem;
    EXPECT_EQ(getTelitModel(port.descriptor(), modem), ePORT_OK);
    EXPECT_EQ(modem.e_model, eTELIT_MODEL_LE910_NA1);
}

TEST(GetTelitModel, ErrorThatSaysNotInited_IsNoTestMode) {
    cFakePort port;
    port.answer(modemReply({"not inited"}, "ERROR"));
    sModemInfo modem;
    EXPECT_EQ(getTelitModel(port.descriptor(), modem), ePORT_ERROR);
    EXPECT_EQ(modem.e_model, eTELIT_MODEL_UNKNOWN);
}

TEST(ParseDeviceFirmwareVersion, Replies_FirstLineThatBeginsWithADigit) {
    const struct {
        std::string reply;
        const char* version;
    } cases[] = {
        {"AT+CGMR\r" + modemReply({"20.00.522"}), "20.00.522"},
        {"AT+CGMR\r" + modemReply({"17.00.503"}), "17.00.503"},  // recorded, LE910-NAG
        {"AT+CGMR\r" + modemReply({"20.00.402"}), "20.00.402"},  // recorded, LE910 V2
        {"AT+CGMR\r" + modemReply({"20.00.412"}), "20.00.412"},  // recorded, LE910 V2
        {modemReply({"20.00.402 - P0F"}), "20.00.402-P0F"},
        {modemReply({"x1", "1.0", "2.0"}), "1.0"},
        {modemReply({"M0F.660014"}), "00.00.00"},  // recorded, LE910C4-NF
        {modemReply({}), "00.00.00"},
    };
    for (const auto& row : cases) {
        sModemInfo modem;
        parseDeviceFirmwareVersion(row.reply, modem);
        EXPECT_EQ(modem.s_firmware_version, row.version) << row.reply;
    }
    torture(parseDeviceFirmwareVersion, modemReply({"20.00.522"}));
}

TEST(ParseDeviceHardware, Replies_TextAfterDob) {
    const struct {
        std::string reply;
        const char* hardware;
    } cases[] = {
        {"ATI5\r" + modemReply({"DOB 1.10"}), "1.10"},
        {modemReply({"XDOB: 12 34 "}), ": 12 34"},
        {modemReply({"DOB"}), ""},
        {modemReply({"1.10"}), "Unknown"},
    };
    for (const auto& row : cases) {
        sModemInfo modem;
        parseDeviceHardware(row.reply, modem);
        EXPECT_EQ(modem.s_hardware, row.hardware) << row.reply;
    }
    torture(parseDeviceHardware, modemReply({"DOB 1.10"}));
}

TEST(ParseDeviceIMEI, Replies_FirstNumericLine) {
    const struct {
        std::string reply;
        const char* imei;
    } cases[] = {
        {"AT+CGSN\r" + modemReply({"353238060000001"}), "353238060000001"},
        {modemReply({"35 3238 060000001"}), "353238060000001"},
        {modemReply({"353238060000001A", "12"}), "12"},
        {modemReply({"IMEI: 353238060000001"}), "000000000000000"},
        {modemReply({}), "000000000000000"},
    };
    for (const auto& row : cases) {
        sModemInfo modem;
        parseDeviceIMEI(row.reply, modem);
        EXPECT_EQ(modem.s_imei, row.imei) << row.reply;
        EXPECT_EQ(modem.s_serial_number, row.imei) << row.reply;
    }
    torture(parseDeviceIMEI, modemReply({"353238060000001"}));
}

TEST(ParseDeviceCNUM, Lines_GiveNameNumberAndType) {
    const struct {
        const char* line;
        const char* name;
        const char* number;
        int type;
    } cases[] = {
        {"+CNUM: \"name\",\"3449709999\",129", "name", "3449709999", 129},  // a fixture's form
        {"+CNUM: \"Line 1\",\"+15551230000\",145", "Line1", "15551230000", 145},
        {"+CNUM: ,\"15551230000\",145", "", "15551230000", 145},
        {"+CNUM: \"\",\"\",129", "", "0000000000", 129},
        {"+CNUM: \"a\",\"abc\",", "a", "0000000000", 0},
        {"+CNUM: \"a\",\"1\",type", "a", "1", 0},
        {"+CNUM: \"a\",\"1\",65536", "a", "1", 0},
        {"+CNUM: \"a\",\"1\",65681", "a", "1", 145},
        {"+CNUM: \"a\",\"1\",129,0,4", "a", "1", 129},
    };
    for (const auto& row : cases) {
        sModemInfo modem;
        parseDeviceCNUM("AT+CNUM\r" + modemReply({row.line}), modem);
        EXPECT_EQ(modem.s_own_number_name, row.name) << row.line;
        EXPECT_EQ(modem.s_own_number, row.number) << row.line;
        EXPECT_EQ(modem.i_own_number_type, row.type) << row.line;
    }
    torture(parseDeviceCNUM, modemReply({"+CNUM: \"name\",\"3449709999\",129"}));
}

TEST(GetDeviceCNUM, TwoFieldsOnly_LeavesTheNameAndTheDefaults) {
    cFakePort port;
    port.answer(modemReply({"+CNUM: \"other\",\"15551230000\""}));
    sModemInfo modem = usedModem();
    EXPECT_EQ(getDeviceCNUM(port.descriptor(), modem), ePORT_OK);
    EXPECT_EQ(modem.s_own_number_name, "name");
    EXPECT_EQ(modem.s_own_number, "0000000000");
    EXPECT_EQ(modem.i_own_number_type, 0);
}

TEST(ParseDeviceCNUM, TwoLines_FirstIsRead) {
    sModemInfo modem;
    parseDeviceCNUM(modemReply({"+CNUM: \"a\",\"1\",129", "+CNUM: \"b\",\"2\",145"}), modem);
    EXPECT_EQ(modem.s_own_number, "1");
}

TEST(ParseDeviceTemperature, Lines_GiveLevelAndDegrees) {
    const sTemperatureCase cases[] = {
        {"#TEMPMEAS: 0,28", 0, 28, "Normal temperature"},                     // recorded
        {"#TEMPMEAS: -1,-32", -1, -32, "Operating temperature lower bound"},  // recorded
        {"#TEMPMEAS: 1,71", 1, 71, "Operating temperature upper bound"},
        {"#TEMPMEAS: 2,90", 2, 90, "Extreme temperature upper bound"},
        {"#TEMPMEAS: -2,-45", -2, -45, "Extreme temperature lower bound"},
        {"#TEMPMEAS: 5,20", 5, 20, ""},
        {"#TEMPMEAS: x,20", -3, 20, "Unknown"},
        {"#TEMPMEAS: 0,x", 0, -999, "Normal temperature"},
        {"#TEMPMEAS: ,", -3, -999, "Unknown"},
        {"#TEMPMEAS: 0", -3, -999, "Unknown"},
        {"#TEMPMEAS:", -3, -999, "Unknown"},
        {"#TEMPMEAS: 0,28,1", 0, 28, "Normal temperature"},
    };
    resetIdentityState();
    for (const sTemperatureCase& row : cases) {
        const sModemInfo modem = temperatureOf(row.line);
        EXPECT_EQ(modem.e_temp_level, row.level) << row.line;
        EXPECT_EQ(modem.i_temperature_c, row.temperatureC) << row.line;
        EXPECT_EQ(modem.s_temp_level, row.text) << row.line;
    }
    EXPECT_EQ(telitTempLevel_Map.size(), 6u) << "a level of the modem adds no row";
    torture(parseDeviceTemperature, modemReply({"#TEMPMEAS: -1,-32"}));
    resetIdentityState();
}

TEST(ParseDeviceTemperature, NotNumeric_IsLoggedWithThePercentSign) {
    resetIdentityState();
    const cLogMode mode(eLOG_AT_DETAIL);
    temperatureOf("#TEMPMEAS: x,y");
    EXPECT_EQ(
        logCount("DEBUG: parseDeviceTemperature(): Error: Element '%' for e_temp_level is not "
                 "numeric"),
        1u);
    EXPECT_EQ(
        logCount("DEBUG: parseDeviceTemperature(): Error: Element '%' for i_temp_c is not numeric"),
        1u);
    resetIdentityState();
}

TEST(ParseDeviceTemperature, FirstReadingAtNormal_IsNotLogged) {
    resetIdentityState();
    const cLogMode mode;
    temperatureOf("#TEMPMEAS: 0,28");
    EXPECT_TRUE(capturedLog().empty());
}

TEST(ParseDeviceTemperature, Change_IsLoggedOnce) {
    resetIdentityState();
    const cLogMode mode;
    temperatureOf("#TEMPMEAS: 1,71");
    temperatureOf("#TEMPMEAS: 1,71");
    temperatureOf("#TEMPMEAS: 1,72");
    EXPECT_EQ(capturedLog(), std::vector<std::string>{
                                 "Device temperature changed to '71', warning level 'Operating "
                                 "temperature upper bound'"});
    temperatureOf("#TEMPMEAS: 0,60");
    temperatureOf("#TEMPMEAS: x,60");
    temperatureOf("#TEMPMEAS: 1");
    EXPECT_EQ(capturedLog().size(), 3u);
    EXPECT_EQ(capturedLog()[1],
              "Device temperature changed to '60', warning level 'Normal temperature'");
    EXPECT_EQ(capturedLog()[2], "Device temperature changed to '60', warning level 'Unknown'");
    resetIdentityState();
}

TEST(GetDeviceDualFirmware, Answers_SetTheFlag) {
    const struct {
        std::string reply;
        ePortReturn result;
        bool isDual;
    } cases[] = {
        {modemReply({"#FWSWITCH: (0,1),(0,1)"}), ePORT_OK, true},
        {OK_REPLY, ePORT_OK, true},
        {ERROR_REPLY, ePORT_OK, false},
        {"\r\n+CME ERROR: 4\r\n", ePORT_OK, false},
        {"\r\nnothing\r\n", ePORT_NO_FINAL_RESULT, false},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(row.reply);
        sModemInfo modem = usedModem();
        EXPECT_EQ(getDeviceDualFirmware(port.descriptor(), modem), row.result) << row.reply;
        EXPECT_EQ(modem.b_dual_firmware, row.isDual) << row.reply;
        EXPECT_EQ(modem.i_firmware_slot, -1) << row.reply;
        EXPECT_EQ(modem.e_firmware_carrier, eFIRMWARE_CARRIER_UNKNOWN) << row.reply;
        EXPECT_EQ(modem.s_firmware_carrier, "Unknown") << row.reply;
    }
}

TEST(ParseDeviceFirmwareCarrier, Lines_GiveImageAndSlot) {
    const struct {
        const char* line;
        int carrier;
        const char* name;
        int slot;
    } cases[] = {
        {"#FWSWITCH: 0", 1, "Generic NA", 0},    // recorded, two images
        {"#FWSWITCH: 1", 2, "Verizon", 1},       // recorded, two images
        {"#FWSWITCH: 0,0,0", 0, "Unknown", -1},  // recorded, LE910C4-NF
        {"#FWSWITCH: 2", 0, "Unknown", -1},     {"#FWSWITCH: 01", 0, "Unknown", -1},
        {"#FWSWITCH:", 0, "Unknown", -1},       {"nothing", 0, "Unknown", -1},
    };
    for (const auto& row : cases) {
        sModemInfo modem = usedModem();
        parseDeviceFirmwareCarrier(modemReply({row.line}), modem);
        EXPECT_EQ(modem.e_firmware_carrier, row.carrier) << row.line;
        EXPECT_EQ(modem.s_firmware_carrier, row.name) << row.line;
        EXPECT_EQ(modem.i_firmware_slot, row.slot) << row.line;
        EXPECT_EQ(modem.b_verizon_firmware, row.carrier == 2) << row.line;
    }
    torture(parseDeviceFirmwareCarrier, modemReply({"#FWSWITCH: 1"}));
}

TEST(GetDeviceFirmwareCarrier, TwoImages_QueriesTheModem) {
    cFakePort port;
    port.answer(modemReply({"#FWSWITCH: 1"}));
    sModemInfo modem;
    modem.b_dual_firmware = true;
    EXPECT_EQ(getDeviceFirmwareCarrier(port.descriptor(), modem), ePORT_OK);
    EXPECT_EQ(modem.e_firmware_carrier, eFIRMWARE_CARRIER_VERIZON);
    EXPECT_EQ(modem.i_firmware_slot, 1);
    EXPECT_TRUE(modem.b_verizon_firmware);
}

TEST(GetDeviceFirmwareCarrier, SingleImage_FollowsFromTheModelWithoutAQuery) {
    const struct {
        int model;
        int carrier;
        const char* name;
    } cases[] = {
        {0, 0, "Unknown"},    {1, 0, "Unknown"}, {2, 0, "Unknown"}, {3, 1, "Generic NA"},
        {4, 1, "Generic NA"}, {5, 2, "Verizon"}, {6, 3, "AT&T"},    {7, 5, "Telstra"},
        {8, 4, "Generic EU"}, {9, 0, "Unknown"},
    };
    for (const auto& row : cases) {
        const cFakePort port;
        sModemInfo modem = usedModem();
        modem.b_dual_firmware = false;
        modem.e_model = static_cast<eTelitModel>(row.model);
        EXPECT_EQ(getDeviceFirmwareCarrier(-1, modem), ePORT_OK) << row.model;
        EXPECT_EQ(modem.e_firmware_carrier, row.carrier) << row.model;
        EXPECT_EQ(modem.s_firmware_carrier, row.name) << row.model;
        EXPECT_EQ(modem.i_firmware_slot, -1) << row.model;
        EXPECT_EQ(modem.b_verizon_firmware, row.model == 5) << row.model;
        EXPECT_TRUE(port.sleepsUs().empty());
    }
}

TEST(SwitchDeviceDualFirmware, SingleImage_SendsNothing) {
    cFakePort port;
    sModemInfo modem;
    const cLogMode mode;
    EXPECT_EQ(switchDeviceDualFirmware(port.descriptor(), modem, 1), ePORT_ERROR);
    EXPECT_EQ(capturedLog(),
              std::vector<std::string>{"switchDeviceDualFirmware(): Device does not support dual "
                                       "firmware, nothing to do"});
    EXPECT_TRUE(port.sleepsUs().empty());
}

TEST(SwitchDeviceDualFirmware, OtherSlot_SendsNothing) {
    for (const int slot : {2, -1, -2, 127, -128}) {
        cFakePort port;
        sModemInfo modem;
        modem.b_dual_firmware = true;
        const cLogMode mode;
        EXPECT_EQ(
            switchDeviceDualFirmware(port.descriptor(), modem, static_cast<signed char>(slot)),
            ePORT_ERROR);
        EXPECT_EQ(capturedLog(),
                  std::vector<std::string>{"switchDeviceDualFirmware(): Device ony supports FW "
                                           "switching slot 0 and 1, given " +
                                           std::to_string(slot)});
        EXPECT_TRUE(port.sleepsUs().empty());
    }
}

TEST(SwitchDeviceDualFirmware, Refused_IsLoggedAndTheRecordStays) {
    for (const char* reply : {ERROR_REPLY, "\r\n+CME ERROR: 4\r\n", ""}) {
        cFakePort port;
        port.answer(reply);
        sModemInfo modem = usedModem();
        const cLogMode mode;
        EXPECT_NE(switchDeviceDualFirmware(port.descriptor(), modem, 0), ePORT_OK);
        EXPECT_EQ(capturedLog(), std::vector<std::string>{"switchDeviceDualFirmware(): Error: "
                                                          "Failed to switch Firmware to slot 0"});
        EXPECT_EQ(modem.i_firmware_slot, 1);
    }
}

TEST(GetDeviceFirmwareCfgVer, Results_AreLoggedByKind) {
    const struct {
        std::string reply;
        const char* log;
    } cases[] = {
        {"", "getDeviceFirmwareCfgVer(): Command 'AT#CFVR' TIMEOUT"},
        {ERROR_REPLY, "getDeviceFirmwareCfgVer(): Command 'AT#CFVR' reported ERROR"},
        {"\r\n+CME ERROR: 19\r\n",
         "getDeviceFirmwareCfgVer(): Command 'AT#CFVR' reported CME_ERROR"},
        {"\r\n+CME ERROR: 4\r\n",
         "getDeviceFirmwareCfgVer(): Command 'AT#CFVR' reported CME_ERROR"},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(row.reply);
        const cLogMode mode;
        std::string version = "before";
        EXPECT_NE(getDeviceFirmwareCfgVer(port.descriptor(), version), ePORT_OK);
        EXPECT_EQ(version, "-1");
        EXPECT_EQ(logCount(row.log), 1u) << row.log;
    }
    cFakePort port;
    port.answer(modemReply({"#CFVR: 12"}));
    const cLogMode mode;
    std::string version;
    EXPECT_EQ(getDeviceFirmwareCfgVer(port.descriptor(), version), ePORT_OK);
    EXPECT_EQ(version, "12");
    EXPECT_TRUE(capturedLog().empty());
}

TEST(ParseFirmwareCfgVer, Lines_NumbersOnly) {
    const struct {
        const char* line;
        const char* version;
    } cases[] = {
        {"#CFVR: 1", "1"},    {"#CFVR: -2", "-2"}, {"#CFVR: +3", "+3"},
        {"#CFVR: 1.2", "-1"}, {"#CFVR: x", "-1"},  {"#CFVR: -", "-1"},
        {"#CFVR:", "-1"},     {"nothing", "-1"},   {"#CFVR: 1 2", "12"},
    };
    for (const auto& row : cases) {
        std::string version = "before";
        parseFirmwareCfgVer(modemReply({row.line}), version);
        EXPECT_EQ(version, row.version) << row.line;
    }
    tortureReply(modemReply({"#CFVR: 1"}), [](const std::string& response) {
        std::string version;
        parseFirmwareCfgVer(response, version);
        expectBounded(version);
    });
}

TEST(IdentityQueries, SilentModem_LeavesTheDefaults) {
    const sModemInfo fresh;
    const auto afterSilence = [](ePortReturn (*get)(int, sModemInfo&)) {
        cFakePort port;
        port.silence();
        sModemInfo modem = usedModem();
        get(port.descriptor(), modem);
        return modem;
    };
    EXPECT_EQ(afterSilence(getModemManu).s_manufacturer, "Unknown");
    EXPECT_FALSE(afterSilence(getModemManu).b_manufacturer_is_telit);
    EXPECT_EQ(afterSilence(getTelitModel).e_model, 0);
    EXPECT_EQ(afterSilence(getTelitModel).s_model, "Unknown");
    EXPECT_EQ(afterSilence(getTelitModel).i_supported_net_bits, 0u);
    EXPECT_EQ(afterSilence(getDeviceFirmwareVersion).s_firmware_version, "00.00.00");
    EXPECT_EQ(afterSilence(getDeviceHardware).s_hardware, "Unknown");
    EXPECT_EQ(afterSilence(getDeviceIMEI).s_imei, fresh.s_imei);
    EXPECT_EQ(afterSilence(getDeviceIMEI).s_serial_number, fresh.s_serial_number);
    EXPECT_EQ(afterSilence(getDeviceCNUM).s_own_number, "0000000000");
    EXPECT_EQ(afterSilence(getDeviceCNUM).i_own_number_type, 0);
    EXPECT_EQ(afterSilence(getDeviceTemperature).i_temperature_c, -999);
    EXPECT_EQ(afterSilence(getDeviceTemperature).e_temp_level, -3);
    EXPECT_EQ(afterSilence(getDeviceTemperature).s_temp_level, "Unknown");
    EXPECT_FALSE(afterSilence(getDeviceDualFirmware).b_dual_firmware);
    EXPECT_EQ(afterSilence(getDeviceFirmwareCarrier).e_firmware_carrier, 0);
    EXPECT_EQ(afterSilence(getDeviceFirmwareCarrier).s_firmware_carrier, "Unknown");
    EXPECT_EQ(afterSilence(getDeviceFirmwareCarrier).i_firmware_slot, -1);
    EXPECT_FALSE(afterSilence(getDeviceFirmwareCarrier).b_verizon_firmware);
}

// ---- every command against a port -------------------------------------------------------------

namespace {

sModemInfo twoImages() {
    sModemInfo modem;
    modem.b_dual_firmware = true;
    return modem;
}

const sCommand IDENTITY_COMMANDS[] = {
    {"getModemManu", on(getModemManu), "ATI3", 0, eErrors::AS_IS},
    {"getTelitModel", on(getTelitModel), "AT+GMM", 0, eErrors::AS_IS},
    {"getDeviceFirmwareVersion", on(getDeviceFirmwareVersion), "AT+CGMR", 0, eErrors::AS_IS},
    {"getDeviceHardware", on(getDeviceHardware), "ATI5", 0, eErrors::AS_IS},
    {"getDeviceIMEI", on(getDeviceIMEI), "AT+CGSN", 0, eErrors::AS_IS},
    {"getDeviceCNUM", on(getDeviceCNUM), "AT+CNUM", 0, eErrors::AS_IS},
    {"getDeviceTemperature", on(getDeviceTemperature), "AT#TEMPMON=1", 0, eErrors::AS_IS},
    {"getDeviceDualFirmware", on(getDeviceDualFirmware), "AT#FWSWITCH=?", 0, eErrors::SUCCESS},
    {"getDeviceFirmwareCarrier", on(getDeviceFirmwareCarrier, twoImages()), "AT#FWSWITCH?", 0,
     eErrors::ALWAYS_ERROR},
    {"switchDeviceDualFirmware0",
     [](int fd) {
         sModemInfo modem = twoImages();
         return switchDeviceDualFirmware(fd, modem, 0);
     },
     "AT#FWSWITCH=0,1", 0, eErrors::AS_IS},
    {"switchDeviceDualFirmware1",
     [](int fd) {
         sModemInfo modem = twoImages();
         return switchDeviceDualFirmware(fd, modem, 1);
     },
     "AT#FWSWITCH=1,1", 0, eErrors::AS_IS},
    {"getDeviceFirmwareCfgVer",
     [](int fd) {
         std::string version;
         return getDeviceFirmwareCfgVer(fd, version);
     },
     "AT#CFVR", 2, eErrors::CMX_ONLY},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Identity, EveryCommand, everyRow(IDENTITY_COMMANDS), functionOf);
