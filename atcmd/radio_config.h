#ifndef ATCMD_RADIO_CONFIG_H
#define ATCMD_RADIO_CONFIG_H

#include <string>

#include "include/config_options.h"
#include "include/modem_types.h"
#include "include/result_codes.h"

// How the modem uses the radio and its own hardware. A CME error is returned as its number.

// Duration of #SLED blinking phases, in the modem's units.
constexpr unsigned char g_ui_stat_led_duration_min = 1;
constexpr unsigned char g_ui_stat_led_duration_max = 100;
constexpr unsigned char g_ui_stat_led_duration_default = 10;

ePortReturn setReboot(int port);

// +WS46 (3GPP TS 27.007 section 5.9); value is 0 if it could not be read.
ePortReturn getWS46(const int& port, int& value);
void parseWS46(const std::string& response, int& value);
ePortReturn setWS46(const int& port, const int& value);

// Operator selection: by configuration (mode -1), automatic (0), or deregister (2). For any other
// mode, of the call or of the configuration, returns CME_WRONG_MODE and sends nothing.
ePortReturn setCOPS(const int& port, const sConfigFileOpts& config, eNetOperatorMode mode);

ePortReturn setAUTOBND(const int& port, const eBandMode& mode);
ePortReturn setBND(const int& port, const sConfigFileOpts& config);

// Factory test mode (on) or operating mode.
ePortReturn setTestMode(const int& port, const bool& on);

ePortReturn setStatLedGpioEnable(const int& port);

// on, off: durations of blinking, limited to g_ui_stat_led_duration_min and _max. For
// eSTAT_LED_NO_ACTION returns ePORT_OK and sends nothing.
ePortReturn setATSTAT(const int& port, const eStatLedMode& mode, unsigned char on,
                      unsigned char off);
ePortReturn setATSTATSAV(const int& port);

// Network time as "month/day/year hour:minute:second", built from numbers only; empty if the modem
// does not know it.
std::string getCCLK(int port);
std::string parseCCLK(const std::string& response);

#endif
