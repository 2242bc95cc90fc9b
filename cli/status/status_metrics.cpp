#include "cli/status/status_metrics.h"

#include <iterator>

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/status/diagnosis.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"
#include "published/status_values.h"

namespace {

struct sSlotMetrics {
    const sSlotReport& report;
    const sSignalReading signal;
};

using tValue = std::optional<double>;
using tSlot = const sSlotMetrics&;

tValue flag(bool value) {
    return value ? 1 : 0;
}

tValue recordNumber(tSlot slot, const sStatusKey& key) {
    const std::optional<long long> value = slot.report.file.record.number(key);
    return value ? tValue(static_cast<double>(*value)) : std::nullopt;
}

tValue numberUnless(tSlot slot, const sStatusKey& key, double unknown) {
    const tValue value = recordNumber(slot, key);
    return value && *value != unknown ? value : std::nullopt;
}

bool textIs(tSlot slot, const sStatusKey& key, const char* text) {
    return slot.report.file.record.text(key) == text;
}

std::string label(const std::string& name, const std::string& value) {
    return "," + metricLabel(name, value);
}

std::string recordLabel(tSlot slot, const char* name, const sStatusKey& key) {
    return label(name, slot.report.file.record.text(key));
}

std::string modemLabels(tSlot slot) {
    return recordLabel(slot, "model", STATUS_MODEL) +
           recordLabel(slot, "firmware", STATUS_FIRMWARE_V) +
           recordLabel(slot, "imei", STATUS_IMEI) +
           recordLabel(slot, "interface", STATUS_NETWORK_INTERFACE);
}

std::string networkLabels(tSlot slot) {
    return recordLabel(slot, "operator", STATUS_CARRIER) +
           recordLabel(slot, "plmn", STATUS_CARRIER_PLMN) +
           recordLabel(slot, "technology", STATUS_SERVICE_TYPE) +
           recordLabel(slot, "band", STATUS_BAND);
}

struct sFamily {
    const char* name;
    const char* type;
    const char* help;
    bool needsRecord;  // no series without a good status file
    tValue (*value)(tSlot);
    std::string (*labels)(tSlot);  // more than the slot; may be null
};

// clang-format off
const sFamily FAMILIES[] = {
    {"cellslot_daemon_running", "gauge", "Whether the daemon of the slot is running.", false,
     [](tSlot s) { return flag(s.report.daemonRuns); }, nullptr},
    {"cellslot_status_valid", "gauge", "Whether the status file of the slot exists and is valid.", false,
     [](tSlot s) { return flag(s.report.isGood()); }, nullptr},
    {"cellslot_status_age_seconds", "gauge", "Age of the status file by the clock of the host.", true,
     [](tSlot s) -> tValue { return static_cast<double>(s.report.ageS.value_or(0)); }, nullptr},
    {"cellslot_modem_info", "gauge", "The modem, in labels; always 1.", true,
     [](tSlot) { return flag(true); }, modemLabels},
    {"cellslot_network_info", "gauge", "The serving network, in labels; always 1.", true,
     [](tSlot) { return flag(true); }, networkLabels},
    {"cellslot_session_connected", "gauge", "Whether the data session is up.", true,
     [](tSlot s) { return flag(s.report.isConnected()); }, nullptr},
    {"cellslot_session_duration_seconds", "gauge", "Time that the data session has been up; 0 while it is down.", true,
     [](tSlot s) { return s.report.isConnected() ? recordNumber(s, STATUS_QMI_CALL_TIME) : flag(false); }, nullptr},
    {"cellslot_session_last_error_code", "gauge", "Number of the last error of a session start; 0 for none.", true,
     [](tSlot s) { return recordNumber(s, STATUS_LAST_CONNECT_ERROR_E); }, nullptr},
    {"cellslot_network_registered", "gauge", "Whether the modem is registered in a network.", true,
     [](tSlot s) { return flag(s.report.file.record.isSet(STATUS_CREG_REGISTERED)); }, nullptr},
    {"cellslot_network_roaming", "gauge", "Whether the modem is registered in a network that is not its home.", true,
     [](tSlot s) { return flag(textIs(s, STATUS_CREG_ABR, REGISTRATION_ROAMING)); }, nullptr},
    {"cellslot_signal_rsrp_dbm", "gauge", "Reference signal received power (LTE).", true,
     [](tSlot s) { return s.signal.rsrpDbm; }, nullptr},
    {"cellslot_signal_rsrq_db", "gauge", "Reference signal received quality (LTE).", true,
     [](tSlot s) { return s.signal.rsrqDb; }, nullptr},
    {"cellslot_signal_rssi_dbm", "gauge", "Received signal strength.", true,
     [](tSlot s) { return s.signal.rssiDbm; }, nullptr},
    {"cellslot_signal_rscp_dbm", "gauge", "Received signal code power (WCDMA).", true,
     [](tSlot s) { return s.signal.rscpDbm; }, nullptr},
    {"cellslot_signal_ecio_db", "gauge", "Ratio of received energy to noise (WCDMA).", true,
     [](tSlot s) { return s.signal.ecioDb; }, nullptr},
    {"cellslot_sim_ready", "gauge", "Whether the SIM is present and unlocked.", true,
     [](tSlot s) { return flag(textIs(s, STATUS_SIM_STATUS, SIM_STATUS_AVAILABLE)); }, nullptr},
    {"cellslot_sim_pin_attempts", "gauge", "Attempts left for the PIN.", true,
     [](tSlot s) { return numberUnless(s, STATUS_SIM_REMAIN_CPIN, ATTEMPTS_UNKNOWN); }, nullptr},
    {"cellslot_sim_puk_attempts", "gauge", "Attempts left for the PUK.", true,
     [](tSlot s) { return numberUnless(s, STATUS_SIM_REMAIN_PUK, ATTEMPTS_UNKNOWN); }, nullptr},
    {"cellslot_modem_temperature_celsius", "gauge", "Temperature of the modem.", true,
     [](tSlot s) { return numberUnless(s, STATUS_TEMPERATURE, TEMPERATURE_UNKNOWN_C); }, nullptr},
    {"cellslot_modem_temperature_level", "gauge", "Temperature level, -2 far too cold to 2 far too hot, 0 normal.", true,
     [](tSlot s) { return numberUnless(s, STATUS_TEMPERATURE_LEVEL_E, eTEMP_LEVEL_UNKNOWN); }, nullptr},
    {"cellslot_gps_streaming", "gauge", "Whether positions go to gpsd.", true,
     [](tSlot s) { return flag(s.report.file.record.isSet(STATUS_GPS_STREAM_ON)); }, nullptr},
    {"cellslot_sms_received_total", "counter", "Messages received since the daemon was started.", true,
     [](tSlot s) { return recordNumber(s, STATUS_SMS_RECV); }, nullptr},
    {"cellslot_sms_sent_total", "counter", "Messages sent since the daemon was started.", true,
     [](tSlot s) { return recordNumber(s, STATUS_SMS_SENT); }, nullptr},
    {"cellslot_sms_send_failures_total", "counter", "Messages that could not be sent since the daemon was started.", true,
     [](tSlot s) { return recordNumber(s, STATUS_SMS_SENT_FAIL); }, nullptr},
};
// clang-format on

std::string seriesOf(const sFamily& family, const std::string& labels, tSlot slot) {
    if (family.needsRecord && !slot.report.isGood()) return "";
    const tValue value = family.value(slot);
    if (!value) return "";
    return std::string(family.name) + "{" + labels + "slot=\"" + itos(slot.report.slot) + "\"" +
           (family.labels ? family.labels(slot) : "") + "} " + shortNumber(*value) + "\n";
}

}  // namespace

std::string metricLabel(const std::string& name, const std::string& value) {
    std::string escaped;
    for (const char character : printableLine(value)) {
        if (character == '\\' || character == '"') escaped += '\\';
        escaped += character;
    }
    return name + "=\"" + escaped + "\"";
}

std::string metricFamily(const std::string& name, const std::string& type, const std::string& help,
                         const std::string& series) {
    if (series.empty()) return "";
    return "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n" + series;
}

cStatusMetrics::cStatusMetrics() : m_series(std::size(FAMILIES)) {}

void cStatusMetrics::add(const std::string& labels, const sSlotReport& report) {
    const sSlotMetrics slot{report, readSignal(report.file.record)};
    for (size_t i = 0; i < m_series.size(); ++i)
        m_series[i] += seriesOf(FAMILIES[i], labels, slot);
}

std::string cStatusMetrics::text() const {
    std::string text;
    for (size_t i = 0; i < m_series.size(); ++i)
        text += metricFamily(FAMILIES[i].name, FAMILIES[i].type, FAMILIES[i].help, m_series[i]);
    return text;
}

std::string statusMetrics(const std::vector<sSlotReport>& reports) {
    cStatusMetrics metrics;
    for (const sSlotReport& report : reports)
        metrics.add("", report);
    return metrics.text();
}
