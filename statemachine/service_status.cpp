#include "statemachine/service_status.h"

#include "include/device_records.h"
#include "include/options.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr unsigned MINUTE_S = 60;
constexpr unsigned HOUR_S = 60 * MINUTE_S;
constexpr unsigned DAY_S = 24 * HOUR_S;

// In one unit only, because each change of the line is a message.
std::string roughTime(unsigned seconds) {
    if (seconds < MINUTE_S) return "less than 1 min";
    if (seconds < HOUR_S) return ltos(seconds / MINUTE_S) + " min";
    if (seconds < DAY_S) return ltos(seconds / HOUR_S) + " h";
    return ltos(seconds / DAY_S) + " d";
}

struct sLockRow {
    int lockClass;
    const char* words;
};

const sLockRow LOCKS[] = {
    {eSIM_MISSING, "no SIM"},
    {eSIM_PIN_REQUIRED, "SIM waits for its PIN"},
    {eSIM_PUK_REQUIRED, "SIM waits for its PUK"},
    {eSIM_LOCK_UNKNOWN, "setting up the modem"},
};

// Only these classes have a name here; the modem has more.
std::string describeSim(int lockClass) {
    for (const sLockRow& row : LOCKS)
        if (row.lockClass == lockClass) return row.words;
    return "SIM not ready";
}

// ", LTE B4": what is known of it.
std::string describeCell(const sNetworkInfo& network) {
    if (network.e_psnt_service_type == ePS_NET_UNKNOWN) return "";
    const std::string technology = ", " + network.s_psnt_service_type;
    return isStringNumeric(network.s_band) ? technology + " B" + network.s_band : technology;
}

}  // namespace

std::string describeService(const sDeviceInfo& device, bool portOpen, bool connected,
                            unsigned connectedS) {
    const sNetworkInfo& network = device.network;
    if (device.b_shutting_down) return "ending";
    if (!portOpen) return "no modem at " + g_S_options.s_device;
    if (device.sim.i_lock_class != eSIM_READY) return describeSim(device.sim.i_lock_class);
    if (network.i_reg_state == eREG_UNKNOWN) return "setting up the modem";
    const std::string session = connected ? ", connected " + roughTime(connectedS) : "";
    if (!network.b_registered) return stringLower(network.s_registration) + session;
    const std::string place = network.i_reg_state == eREG_ROAMING ? ", roaming" : "";
    return "registered" + place + describeCell(network) +
           (connected ? session : ", no data session");
}
