#include "gps/gps.h"

#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"

cTelitGps g_C_telitGps;

namespace {

void prepareInstance() {
    g_C_telitGps.setDebug(g_i_debugMode);
    g_C_telitGps.init(g_S_options.s_gps_device, g_S_options.s_port);
}

}  // namespace

eGeneralErrors maybeEnableGps(int, const sConfigFileOpts& config, sModemInfo& modem) {
    traceEntry(eLOG_GPS, __func__);
    if (!config.gpsEnable) return maybeStopGps(modem);
    prepareInstance();
    modem.e_gps_status = g_C_telitGps.gpsStart(modem.s_gps_chipset, modem.b_gps_stream_on);
    return modem.e_gps_status;
}

eGeneralErrors maybeStopGps(sModemInfo& modem) {
    traceEntry(eLOG_GPS, __func__);
    prepareInstance();
    modem.e_gps_status = g_C_telitGps.gpsStop(modem.b_gps_stream_on);
    return modem.e_gps_status;
}

void forgetGpsStream() {
    g_C_telitGps.forgetStream();
}

void resetGpsState() {
    g_C_telitGps.reset();
}
