#include "statemachine/sim_pin.h"

#include "include/device_records.h"
#include "statemachine/pin_change.h"
#include "statemachine/pin_record.h"
#include "statemachine/sim_pin_files.h"

namespace {

// The gateway's monitors take a flag and a depth.
constexpr int MONITOR_FLAGS = 0;
constexpr int MONITOR_DEPTH = 10;

std::unique_ptr<cFileMonitor> createMonitor(const std::string& path) {
    auto monitor = std::make_unique<cFileMonitor>();
    monitor->imonitorInit(path, MONITOR_FLAGS, MONITOR_DEPTH);
    return monitor;
}

}  // namespace

void createCpinMonitors(const sSimInfo& sim) {
    g_Cp_MonitorCurrentCpinFile = createMonitor(sim.s_cpin_path);
    g_Cp_MonitorNewCpinFile = createMonitor(sim.s_cpin_new_path);
    g_Cp_MonitorPukFile = createMonitor(sim.s_puk_path);
    notePinFileAtStart(sim);
}

void resetSimPinState() {
    resetPinRecord();
    resetPinChangeState();
    g_Cp_MonitorCurrentCpinFile.reset();
    g_Cp_MonitorNewCpinFile.reset();
    g_Cp_MonitorPukFile.reset();
}
