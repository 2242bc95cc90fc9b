#include "atcmd/command.h"
#include "gps/gps_commands.h"
#include "gps/telit_gps.h"
#include "include/debug.h"
#include "include/utilities.h"

// Finding and enabling the receiver.

namespace {

constexpr int CHIPSET_QUERIES = 5;
constexpr unsigned CHIPSET_QUERY_TIMEOUT_S = 0;
constexpr unsigned CHIPSET_QUERY_PAUSE_US = 300000;
constexpr unsigned ENABLE_TIMEOUT_S = 2;

// "$GPSSW: GSW3.5.0" -> "GSW3.5.0". The echo has no colon, so it is not mistaken for the answer.
std::string chipsetOf(const std::string& response) {
    return blankControlCharacters(modemText(responseField(response, GPS_CHIPSET_PREFIX)));
}

}  // namespace

eGeneralErrors cTelitGps::getGpsChipset(int port) {
    trace(__func__);
    m_chipset.clear();
    for (int query = 1; query <= CHIPSET_QUERIES; ++query) {
        std::string response;
        const eGeneralErrors result = mapPortResult(queryModem(
            port, AT_GPS_CHIPSET, eParseCmx::ON_REFUSAL, CHIPSET_QUERY_TIMEOUT_S, &response));
        if (result != eSUCCESS) return result;
        const std::string chipset = chipsetOf(response);
        if (!chipset.empty()) {
            noteChipset(chipset, query);
            return eERROR_DEVICE_GPS_ENABLED;
        }
        debug(eLOG_NOTICE, m_debugMask, "GPS chipset not found");
        setSkvsEnabled(eSKVS_GPS_NOT_ENABLED);
        maybeSleep(CHIPSET_QUERY_PAUSE_US);
    }
    debug(eLOG_NOTICE, m_debugMask, "GPS chipset not found");
    return eERROR_DEVICE_GPS_DISABLED;
}

void cTelitGps::noteChipset(const std::string& chipset, int queries) {
    debug(eLOG_NOTICE, m_debugMask, "GPS chipset found (enabled)");
    debug(eLOG_NOTICE, m_debugMask, "%s(): GPS chipset found (%s) after %d chipset queries",
          "getGpsChipset", chipset.c_str(), queries);
    m_chipset = chipset;
    setSkvsChipset(chipset);
    setSkvsEnableCount(0);
    setSkvsEnabled(eSKVS_GPS_ENABLED);
}

ePortReturn cTelitGps::gpsEnable(int port) {
    trace(__func__);
    for (const sGpsEnableStep& step : GPS_ENABLE_STEPS) {
        const ePortReturn result =
            queryModem(port, step.command, eParseCmx::ALWAYS, ENABLE_TIMEOUT_S);
        if (result == ePORT_OK) continue;
        debug(eLOG_NOTICE, m_debugMask, "%s(): Enable GPS '%s' failed", __func__, step.name);
        return result;
    }
    debug(eLOG_NOTICE, m_debugMask, "%s(): Success enabling GPS chipset", __func__);
    return ePORT_OK;
}
