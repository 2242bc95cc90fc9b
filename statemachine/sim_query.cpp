#include "statemachine/sim_query.h"

#include "atcmd/sim_commands.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"

namespace {

bool isVerizonCarrier(const std::string& carrier) {
    const std::string name = stringLower(carrier);
    return name.find("verizon") != std::string::npos || name.find("vzw") != std::string::npos;
}

}  // namespace

ePortReturn doGetSimStatus(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    return getDeviceSimInfo(port, sim);
}

ePortReturn getDeviceSimInfo(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    resetSimInfo(sim);
    const ePortReturn present = getDeviceSimPresent(port, sim);
    if (present != ePORT_OK || sim.i_present != 1) return present;
    for (const auto query : {getDeviceSimStatus, getCpinState, getDeviceSimId, getDeviceSimIMSI}) {
        const ePortReturn result = query(port, sim);
        if (result != ePORT_OK) return result;
    }
    if (sim.s_carrier == NAME_UNKNOWN) return ePORT_OK;
    sim.b_verizon = isVerizonCarrier(sim.s_carrier);
    if (sim.b_verizon) debug(eLOG_POLICY, g_i_debugMode, "%s(): SIM carrier is Verizon", __func__);
    return ePORT_OK;
}
