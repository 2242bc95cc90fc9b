#include "tests/support/daemon_reset.h"

#include "atcmd/catalogue.h"
#include "atcmd/identity.h"
#include "atcmd/registration.h"
#include "config/config_file.h"
#include "device/at_transaction.h"
#include "device/link_state.h"
#include "gps/gps.h"
#include "include/debug.h"
#include "include/repeated_notices.h"
#include "include/signal_flags.h"
#include "sms/sms.h"
#include "statemachine/bring_up.h"
#include "statemachine/carrier_list.h"
#include "statemachine/data_connection.h"
#include "statemachine/data_session.h"
#include "statemachine/network_interface.h"
#include "statemachine/sim_pin.h"
#include "statemachine/status_files.h"
#include "statemachine/status_led.h"
#include "statemachine/timers.h"

void resetDaemon() {
    resetIdentityState();
    resetRegistrationState();
    resetBringUpState();
    resetCarrierListState();
    resetDataConnectionState();
    resetDataSessionState();
    resetNetworkInterfaceState();
    resetSimPinState();
    resetStatusFilesState();
    resetStatusLedState();
    resetConfigFileChoice();
    resetGpsState();
    resetSmsState();
    telitCarrier_list_Map.clear();
    resetLinkState();
    g_que_testAtResponses = {};
    resetRepeatedNotices();
    g_i_debugMode = 0;
    b_got_sigint = b_got_sigterm = b_got_sighup = b_got_sigusr1 = b_got_sigusr2 = false;
    for (cTimer* timer : {&g_C_checkRegTimer, &g_C_noServiceTimer, &g_C_netConDelayTimer,
                          &g_C_networkKeepAliveTimer, &g_C_deviceMissingTimer})
        timer->Stop();
}
