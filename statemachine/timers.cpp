#include "statemachine/timers.h"

namespace {

constexpr unsigned CARD_STATS_S = 2;
constexpr unsigned SIM_MISSING_S = 600;
constexpr unsigned NO_SERVICE_S = 300;
constexpr unsigned NETWORK_DELAY_S = 30;
constexpr unsigned KEEP_ALIVE_S = 300;
constexpr unsigned DEVICE_MISSING_S = 120;

}  // namespace

std::unique_ptr<cTimer> g_Cp_dateTimeSyncTimer;
std::unique_ptr<cTimer> g_Cp_connectedTimer;
std::unique_ptr<cTimer> g_Cp_cardstatsTimer;
std::unique_ptr<cTimer> g_Cp_simMissingTimer;
cTimer g_C_checkRegTimer;
cTimer g_C_noServiceTimer(0, NO_SERVICE_S);
cTimer g_C_netConDelayTimer(0, NETWORK_DELAY_S);
cTimer g_C_networkKeepAliveTimer(0, KEEP_ALIVE_S);
cTimer g_C_deviceMissingTimer(0, DEVICE_MISSING_S);

void createTimers() {
    g_C_noServiceTimer.Stop();
    g_C_netConDelayTimer.Stop();
    g_C_deviceMissingTimer.Stop();
    g_C_networkKeepAliveTimer.Stop();
    g_Cp_dateTimeSyncTimer = std::make_unique<cTimer>(0, DATE_TIME_SYNC_S);
    g_Cp_connectedTimer = std::make_unique<cTimer>(0, 0);
    g_Cp_cardstatsTimer = std::make_unique<cTimer>(0, CARD_STATS_S);
    g_Cp_cardstatsTimer->Stop();
    g_C_checkRegTimer.SetTimeout(REGISTRATION_GRACE_S);
    g_C_checkRegTimer.Start();
    g_Cp_simMissingTimer = std::make_unique<cTimer>(0, SIM_MISSING_S);
    g_Cp_simMissingTimer->Stop();
}
