#include "statemachine/bands.h"

#include "atcmd/radio_config.h"
#include "device/at_transaction.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"

namespace {

struct sBandRow {
    eTelitModel model;
    bool verizon;
    const char* list3g;
    uint32_t mask3g;
    const char* list4g;
    uint64_t mask4g;
};

// clang-format off
const sBandRow BANDS[] = {
    {eTELIT_MODEL_LE910_NA1,   false, "1,2,4", 22, "B2,B4,B5,B12,B13,B17", 71706},
    {eTELIT_MODEL_LE910_NA_V2, false, "1,2,4", 22, "B2,B4,B5,B12,B13,B17", 71706},
    {eTELIT_MODEL_LE910_NA1,   true,  "",      0,  "B2,B4,B13",            4106},
    {eTELIT_MODEL_LE910_NA_V2, true,  "",      0,  "B2,B4,B13",            4106},
    {eTELIT_MODEL_LE910_EU_V2, false, "0,5,6", 97, "B1,B3,B7,B8,B20",      524485},
    {eTELIT_MODEL_LE910_EU_V2, true,  "0,5,6", 97, "B1,B3,B7,B8,B20",      524485},
};
// clang-format on

const sBandRow* bandsOf(const sModemInfo& modem) {
    const bool verizon = modem.e_firmware_carrier == eFIRMWARE_CARRIER_VERIZON;
    for (const sBandRow& row : BANDS)
        if (row.model == modem.e_model && row.verizon == verizon) return &row;
    return nullptr;
}

bool is3gBandValid(const sModemInfo& modem, const sConfigFileOpts& config) {
    const int bits = static_cast<int>(config.band3gBits);
    const int supported = static_cast<int>(modem.i_supported_3g_mask);
    if (supported == 0) return true;  // nothing to choose from
    if (bits != 0 && (bits & supported) != 0 && countSetBits(bits) < 2) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Manual Mode - 3G Band option %d/%ld is Valid",
              "getSupportedBands", bits, static_cast<long>(supported));
        return true;
    }
    debug(eLOG_NOTICE, g_i_debugMode,
          "Error: Device %s (Slot %s) does not support 3G/UMTS Band setting %s ( %d / %d )",
          modem.s_model.c_str(), g_S_options.s_port.c_str(), config.band3gText.c_str(), bits,
          supported);
    return false;
}

bool are4gBandsValid(const sModemInfo& modem, const sConfigFileOpts& config) {
    const auto bits = static_cast<long long>(config.band4gBits);
    const auto supported = static_cast<long long>(modem.i_supported_4g_mask);
    if (bits == 0) return true;  // none configured
    if ((bits & ~supported) == 0) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Manual Mode - 4G Band option %lld/%lld is Valid",
              "getSupportedBands", bits, supported);
        return true;
    }
    debug(eLOG_NOTICE, g_i_debugMode,
          "Error: Device %s (Slot %s) does not support 4G/LTE Band setting %s( %lld / %lld )",
          modem.s_model.c_str(), g_S_options.s_port.c_str(), config.band4gText.c_str(), bits,
          supported);
    return false;
}

eGeneralErrors setManualBands(int port, const sConfigFileOpts& config) {
    const eGeneralErrors result = mapPortResult(setBND(port, config));
    debug(eLOG_NOTICE, g_i_debugMode, "Last Cmd: %s", g_s_lastAtCmd.c_str());
    if (result == eSUCCESS)
        debug(eLOG_NOTICE, g_i_debugMode,
              "Success setting device Band settings to Manual, 3G: %s, 4G: %s",
              config.band3gText.c_str(), config.band4gText.c_str());
    if (result == eERROR_DEVICE_RESPONSE_ERROR)
        debug(eLOG_NOTICE, g_i_debugMode,
              "Error: Device returned an error when setting Manual Band 3G: %s, 4G %s",
              config.band3gText.c_str(), config.band4gText.c_str());
    return result;
}

}  // namespace

int countSetBits(int value) {
    auto bits = static_cast<unsigned>(value);
    int count = 0;
    for (; bits != 0; bits &= bits - 1)
        ++count;
    return count;
}

eGeneralErrors getSupportedBands(sModemInfo& modem, const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    modem.s_supported_3g_bands.clear();
    modem.i_supported_3g_mask = 0;
    modem.s_supported_4g_bands.clear();
    modem.i_supported_4g_mask = 0;
    const sBandRow* row = bandsOf(modem);
    if (row == nullptr) return eERROR_DEVICE_NOT_SUPPORTED;
    modem.s_supported_3g_bands = row->list3g;
    modem.i_supported_3g_mask = row->mask3g;
    modem.s_supported_4g_bands = row->list4g;
    modem.i_supported_4g_mask = row->mask4g;
    if (config.bandMode != eBAND_MODE_MANUAL) return eSUCCESS;
    const bool valid = is3gBandValid(modem, config) && are4gBandsValid(modem, config);
    return valid ? eSUCCESS : eERROR_DEVICE_INVALID_OPTION;
}

eGeneralErrors maybeSetBands(int port, sModemInfo& modem, const sConfigFileOpts& config) {
    traceEntry(eLOG_POLICY, __func__);
    const eGeneralErrors supported = getSupportedBands(modem, config);
    if (supported != eSUCCESS) return supported;
    const bool manual = config.bandMode == eBAND_MODE_MANUAL;
    const eGeneralErrors result =
        mapPortResult(setAUTOBND(port, manual ? eBAND_MODE_MANUAL : eBAND_MODE_AUTO));
    if (result == eERROR_DEVICE_RESPONSE_ERROR)
        debug(eLOG_NOTICE, g_i_debugMode,
              "Error: Device returned an error when setting AutoBand to %s",
              manual ? "Manual" : "Auto");
    if (result != eSUCCESS) return result;
    if (manual) return setManualBands(port, config);
    debug(eLOG_NOTICE, g_i_debugMode, "Success setting device Band settings to Auto");
    return eSUCCESS;
}
