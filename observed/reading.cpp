#include "observed/reading.h"

#include <sys/stat.h>

#include <charconv>
#include <cmath>

#include "cli/base/daemon_process.h"
#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/status/diagnosis.h"
#include "include/device_records.h"
#include "observed/sim_name.h"
#include "platform/include/text_helpers.h"
#include "published/paths.h"
#include "published/status_values.h"

namespace {

constexpr size_t TEXT_MAX = 80;
constexpr size_t INTERFACE_NAME_MAX = 15;
constexpr size_t COUNTER_TEXT_MAX = 32;

std::string shown(const sStatusRecord& record, const sStatusKey& key) {
    const std::string text = printableLine(record.text(key)).substr(0, TEXT_MAX);
    return text == NAME_UNKNOWN || stringUpper(text) == "UNKNOWN" ? "" : text;
}

std::string simOf(const sStatusRecord& record) {
    const std::string sim = record.text(STATUS_SIM_ID);
    return isSimName(sim) && sim.find_first_not_of('0') != sim.npos ? sim : "";
}

bool isInterfaceName(const std::string& name) {
    return !name.empty() && name.size() <= INTERFACE_NAME_MAX && name[0] != '.' &&
           name.find('/') == name.npos;
}

std::optional<uint64_t> interfaceCounter(const sPlaces& places, const std::string& interface,
                                         const char* counter) {
    std::string text;
    const std::string path = "/sys/class/net/" + interface + "/" + counter;
    if (!isInterfaceName(interface) || !readFile2String(places.at(path), text, COUNTER_TEXT_MAX))
        return std::nullopt;
    uint64_t value = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || stop == text.data()) return std::nullopt;
    return value;
}

std::optional<uint64_t> statusCounter(const sStatusRecord& record, const sStatusKey& key) {
    const std::optional<long long> value = record.number(key);
    if (!value || *value < 0) return std::nullopt;
    return static_cast<uint64_t>(*value);
}

void set(sReading& reading, eSource source, std::optional<double> value) {
    const sSource& limits = describe(source);
    if (!value || *value < limits.least || *value > limits.greatest) return;
    reading.values[static_cast<size_t>(source)] = *value;
}

void setValues(sReading& reading, const sStatusRecord& record) {
    const sSignalReading signal = readSignal(record);
    set(reading, eSource::RSRP, signal.rsrpDbm);
    set(reading, eSource::RSRQ, signal.rsrqDb);
    set(reading, eSource::RSSI, signal.rssiDbm);
    set(reading, eSource::RSCP, signal.rscpDbm);
    set(reading, eSource::ECIO, signal.ecioDb);
    const std::optional<double> temperature = record.decimal(STATUS_TEMPERATURE);
    if (temperature != static_cast<double>(TEMPERATURE_UNKNOWN_C))
        set(reading, eSource::TEMPERATURE, temperature);
    set(reading, eSource::CONNECTED, reading.isConnected ? 1 : 0);
    set(reading, eSource::REGISTERED, record.isSet(STATUS_CREG_REGISTERED) ? 1 : 0);
}

// Which node a path leads to; empty if there is none.
std::string nodeId(const std::string& path) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return "";
    return std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino) + ":" +
           std::to_string(info.st_rdev);
}

// The report of a daemon that has just written its status. The configuration is root's alone.
sSlotReport freshReport(const sPlaces& places, int slot, const sStatusRecord& record) {
    sSlotReport report;
    report.slot = slot;
    report.daemonRuns = true;
    report.file.state = eStatusFile::GOOD;
    report.file.record = record;
    report.ageS = 0;
    report.portExists = places.have(record.text(STATUS_DEV_HANDLE_MAIN));
    report.data = publishedDirective(places, slot, recordedPid(places, slot));
    return report;
}

void setCause(sReading& reading, const sPlaces& places, int slot, const sStatusRecord& record) {
    if (reading.isConnected) return;
    const sSlotReport report = freshReport(places, slot, record);
    // That explains everything else.
    if (!isDataWanted(report.data.value)) {
        reading.cause = CAUSE_DATA_OFF;
        reading.causeText = "Data is off: " + report.data.why + ".";
        return;
    }
    for (const sProblem& problem : diagnose(report).problems) {
        if (problem.severity != eSeverity::ERROR) continue;
        reading.cause = problem.id;
        reading.causeText = withoutSecrets(problem.what);
        return;
    }
}

}  // namespace

sReading::sReading() {
    values.fill(std::nan(""));
}

uint64_t counted(const std::optional<uint64_t>& before, const std::optional<uint64_t>& now) {
    if (!before || !now) return 0;
    return *now >= *before ? *now - *before : *now;
}

sCounters nextCounters(const sCounters& before, const sCounters& now) {
    return {now.interfaceIndex ? now.interfaceIndex : before.interfaceIndex,
            now.receivedBytes ? now.receivedBytes : before.receivedBytes,
            now.sentBytes ? now.sentBytes : before.sentBytes,
            now.receivedMessages ? now.receivedMessages : before.receivedMessages,
            now.sentMessages ? now.sentMessages : before.sentMessages,
            now.failedMessages ? now.failedMessages : before.failedMessages};
}

sReading readSlot(const sPlaces& places, int slot, const sStatusRecord& record) {
    sReading reading;
    reading.isConnected = record.text(STATUS_QMI_STATE) == SESSION_CONNECTED;
    setValues(reading, record);
    const std::string interface = record.text(STATUS_NETWORK_INTERFACE);
    reading.counters = {interfaceCounter(places, interface, "ifindex"),
                        interfaceCounter(places, interface, "statistics/rx_bytes"),
                        interfaceCounter(places, interface, "statistics/tx_bytes"),
                        statusCounter(record, STATUS_SMS_RECV),
                        statusCounter(record, STATUS_SMS_SENT),
                        statusCounter(record, STATUS_SMS_SENT_FAIL)};
    reading.sim = simOf(record);
    setCause(reading, places, slot, record);
    reading.registration = shown(record, STATUS_CREG_ABR);
    reading.network = shown(record, STATUS_CARRIER);
    reading.technology = shown(record, STATUS_SERVICE_TYPE);
    reading.cell = shown(record, STATUS_SERVSYS_CELL_ID);
    reading.simStatus = shown(record, STATUS_SIM_STATUS);
    reading.pinOutcome = withoutSecrets(shown(record, STATUS_SIM_EXTENDED_STATUS));
    reading.modem = shown(record, STATUS_IMEI);
    reading.port = shown(record, STATUS_DEV_HANDLE_MAIN);
    if (!reading.port.empty())
        reading.portId = nodeId(places.at(record.text(STATUS_DEV_HANDLE_MAIN)));
    reading.temperatureLevel = shown(record, STATUS_TEMPERATURE_LEVEL);
    reading.daemonPid = recordedPid(places, slot);
    return reading;
}
