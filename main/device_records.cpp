#include "include/device_records.h"

void resetDeviceInfo(sDeviceInfo& device, bool full) {
    if (full) resetModemStaticInfo(device.modem);
    resetModemVariableInfo(device.modem);
    resetSimInfo(device.sim);
    device.network = {};
    device.s_connection_status = NAME_UNKNOWN;
    device.s_ipv4_address.clear();
}

void resetModemStaticInfo(sModemInfo& modem) {
    static_cast<sModemStaticInfo&>(modem) = {};
}

void resetModemVariableInfo(sModemInfo& modem) {
    static_cast<sModemVariableInfo&>(modem) = {};
}

void resetModemApnList(sModemInfo& modem) {
    modem.context_list = {};
    modem.i_context_count = 0;
    modem.s_apn.clear();
}

void resetSimInfo(sSimInfo& sim) {
    static_cast<sSimAnswers&>(sim) = {};
}

void resetCregInfo(sNetworkInfo& network) {
    static_cast<sRegistrationInfo&>(network) = {};
}

void resetPsntInfo(sNetworkInfo& network) {
    static_cast<sPsntInfo&>(network) = {};
}

void resetNetworkInfo(sNetworkInfo& network) {
    resetPsntInfo(network);
    static_cast<sRfstsInfo&>(network) = {};
}

void resetPdpDynamicContent(sNetworkInfo& network) {
    network.pdp_dynamic = {};
}
