#include "statemachine/polling.h"

#include "atcmd/identity.h"
#include "atcmd/packet_data.h"
#include "atcmd/radio_status.h"
#include "atcmd/registration.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"
#include "include/repeated_notices.h"
#include "published/at_request.h"
#include "sms/sms.h"
#include "statemachine/custom_at.h"
#include "statemachine/data_session.h"
#include "statemachine/modem_control.h"
#include "statemachine/sim_query.h"
#include "statemachine/sim_status.h"
#include "statemachine/status_led.h"
#include "statemachine/timers.h"

namespace {

void maybeSyncClock(int port, const sDeviceInfo& device, const sConfigFileOpts& config) {
    cTimer& timer = *g_Cp_dateTimeSyncTimer;
    if (!config.syncTime || !device.network.b_registered || timer.IsTimerRunning()) return;
    const cRepeatedRun run(eWORK_CLOCK);
    timer.SetTimeout(maybeSetSystemTime(port) ? DATE_TIME_SYNC_S : DATE_TIME_SYNC_RETRY_S);
    timer.Start();
}

// A CME error means that the SIM does not permit reading the number.
eGeneralErrors readOwnNumber(int port, sModemInfo& modem) {
    const ePortReturn result = getDeviceCNUM(port, modem);
    if (result == ePORT_ERROR) return eERROR_DEVICE_RESPONSE_ERROR;
    return mapPortResult(result, eERROR_DEVICE_SIM_LOCKED_CNUM);
}

}  // namespace

eGeneralErrors pollDevice(int port, sDeviceInfo& device, sConfigFileOpts& config) {
    traceEntry(eLOG_STATE, __func__);
    eGeneralErrors result = getModemPollInfo(port, device, config);
    if (result != eSUCCESS) return result;
    result = checkNoServiceTimer(device, g_C_noServiceTimer);
    if (result == eERROR_DEVICE_REQUIRES_RESET) return result;
    result = getNetworkInfo(port, device.network);
    if (result != eSUCCESS) return result;
    result = checkSMS(port, device);
    const cSingleEvent request;
    checkCustomAtFile(port, device, g_s_at_cmd_custom_path);
    checkCustomAtFile(port, device, g_s_at_cmd_custom_path, atSlotSuffix(g_S_options.s_port));
    return result;
}

eGeneralErrors getModemPollInfo(int port, sDeviceInfo& device, const sConfigFileOpts& config) {
    traceEntry(eLOG_STATE, __func__);
    eGeneralErrors result = mapPortResult(getDeviceIMEI(port, device.modem));
    if (result != eSUCCESS) return result;
    result = mapPortResult(getDeviceTemperature(port, device.modem));
    if (result != eSUCCESS) return result;

    result = getSimStatus(port, device.sim);
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) return result;
    if (device.sim.i_lock_class != eSIM_READY || result == eSUCCESS_DEVICE_UNLOCK) return result;

    maybeSyncClock(port, device, config);
    result = readOwnNumber(port, device.modem);
    if (result != eSUCCESS) return result;
    result = mapPortResult(getDeviceSimInfo(port, device.sim));
    if (result != eSUCCESS) return result;
    return mapPortResult(getCGDCONT(port, device, config));
}

eGeneralErrors getNetworkInfo(int port, sNetworkInfo& network) {
    traceEntry(eLOG_STATE, __func__);
    eGeneralErrors result = mapPortResult(getNetworkRegistration(port, network));
    if (result != eSUCCESS) return result;
    result = updateRegStatLed(port, network);
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT || result == eERROR_DEVICE_RESPONSE_ERROR)
        return result;
    result = mapPortResult(getModemNetworkInfo(port, network));
    if (result != eSUCCESS) return result;
    return mapPortResult(getCSQ(port, network));
}

ePortReturn getNetworkRegistration(const int& port, sNetworkInfo& network) {
    ePortReturn result = getCEREG(port, network);
    if (result == ePORT_OK && !isRegisteredState(network.i_reg_state))
        result = getCREG(port, network);
    if (result != ePORT_OK) {
        resetCregInfo(network);
        return result;
    }
    updateNetworkRegistrationInfo(network);
    if (getCIREG(port, network) == ePORT_NO_FINAL_RESULT) return ePORT_NO_FINAL_RESULT;
    return result;
}
