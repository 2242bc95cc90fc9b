#include "cli/status/status_json.h"

#include <nlohmann/json.hpp>

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/status/diagnosis.h"
#include "cli/status/plain_words.h"
#include "include/device_records.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr int INDENT = 2;

tJson orNull(const std::optional<double>& value) {
    return value ? tJson(*value) : tJson(nullptr);
}

tJson orNull(const std::optional<long long>& value) {
    return value ? tJson(*value) : tJson(nullptr);
}

tJson numberUnless(const sStatusRecord& record, const std::string& key, long long unknown) {
    const std::optional<long long> value = record.number(key);
    return value && *value != unknown ? tJson(*value) : tJson(nullptr);
}

// Keeps the daemon's words for "not known", because programs may compare with them.
tJson text(const sStatusRecord& record, const std::string& key) {
    const std::string value = record.text(key);
    return value.empty() ? tJson(nullptr) : tJson(printableLine(value));
}

tJson modemJson(const sStatusRecord& record) {
    return {{"model", text(record, "MODEL")},
            {"manufacturer", text(record, "MANU")},
            {"imei", text(record, "IMEI")},
            {"firmware", text(record, "FIRMWARE_V")},
            {"firmware_carrier", text(record, "FIRMWARE_CARRIER")},
            {"temperature_c", numberUnless(record, "TEMPERATURE", TEMPERATURE_UNKNOWN_C)},
            {"temperature_level", text(record, "TEMPERATURE_LEVEL")},
            {"device", text(record, "DEV_HANDLE_MAIN")}};
}

tJson simJson(const sStatusRecord& record) {
    return {{"status", text(record, "SIM_STATUS")},
            {"ready", record.text("SIM_STATUS") == "Available"},
            {"pin_report", withoutSecrets(record.text("SIM_EXTENDED_STATUS"))},
            {"pin_lock", record.text("SIM_CPIN_ENABLED") == "1"},
            {"pin_attempts", numberUnless(record, "SIM_REMAIN_CPIN", ATTEMPTS_UNKNOWN)},
            {"puk_attempts", numberUnless(record, "SIM_REMAIN_PUK", ATTEMPTS_UNKNOWN)},
            {"iccid", text(record, "SIM_ID")},
            {"imsi", text(record, "SIM_IMSI")},
            {"number", text(record, "MDN")},
            {"carrier", text(record, "SIM_CARRIER")},
            {"holder", orNull(record.number("SIM_SLOT"))}};
}

tJson networkJson(const sStatusRecord& record) {
    return {{"registration", text(record, "CREG")},
            {"registered", record.text("CREG_REGISTERED") == "1"},
            {"roaming", record.text("CREG_ABR") == "Reg Roaming"},
            {"operator", text(record, "CARRIER")},
            {"plmn", text(record, "CARRIER_PLMN")},
            {"technology", text(record, "SERVICE_TYPE")},
            {"band", text(record, "BAND")},
            {"channel", text(record, "CURRENT_CHAN")},
            {"cell", text(record, "SERVSYS_CELL_ID")},
            {"area", text(record, "CURRENT_LAC_TAC")}};
}

tJson signalJson(const sSignalReading& signal) {
    const bool isKnown = signal.quality != eSignalQuality::UNKNOWN;
    return {{"quality", isKnown ? tJson(qualityWord(signal.quality)) : tJson(nullptr)},
            {"strength_percent", isKnown ? tJson(signal.strengthPercent) : tJson(nullptr)},
            {"rsrp_dbm", orNull(signal.rsrpDbm)},
            {"rsrq_db", orNull(signal.rsrqDb)},
            {"rssi_dbm", orNull(signal.rssiDbm)},
            {"rscp_dbm", orNull(signal.rscpDbm)},
            {"ecio_db", orNull(signal.ecioDb)}};
}

tJson sessionJson(const sSlotReport& report) {
    const sStatusRecord& record = report.file.record;
    const bool isUp = report.isConnected();
    return {{"connected", isUp},
            {"seconds", isUp ? orNull(record.number("QMI_CALL_TIME")) : tJson(nullptr)},
            {"interface", text(record, "NETWORK_INTERFACE")},
            {"addresses", report.addresses},
            {"apn", text(record, "SIM_APN_CURRENT")},
            {"last_error", orNull(record.number("LAST_CONNECT_ERROR_E"))},
            {"last_error_name", text(record, "LAST_CONNECT_ERROR")},
            {"last_error_words", connectErrorWords(record).what}};
}

const char* directiveId(eCfgDataStatus value) {
    switch (value) {
        case eCONF_DATA_CONNECT_ENABLED:
            return "on";
        case eCONF_DATA_CONNECT_TEMP_ENABLED:
            return "forced_on";
        case eCONF_DATA_CONNECT_DISABLED:
            return "off";
        case eCONF_DATA_CONNECT_TEMP_DISABLED:
            return "forced_off";
        case eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM:
        case eCONF_DATA_CONNECT_HOLDOFF:
            return "waiting";
        case eCONF_DATA_CONNECT_MODEM_OFF:
            return "modem_off";
        case eCONF_DATA_CONNECT_TEMP_MODEM_OFF:
            return "forced_modem_off";
        case eCONF_DATA_CONNECT_UNKNOWN:
            break;
    }
    return "unknown";
}

tJson problemsJson(const sDiagnosis& diagnosis) {
    tJson problems = tJson::array();
    for (const sProblem& problem : diagnosis.problems)
        problems.push_back({{"severity", severityId(problem.severity)},
                            {"id", problem.id},
                            {"what", problem.what},
                            {"mend", problem.mend}});
    return problems;
}

void addRecord(tJson& slot, const sSlotReport& report, const sDiagnosis& diagnosis) {
    const sStatusRecord& record = report.file.record;
    slot["modem"] = modemJson(record);
    slot["sim"] = simJson(record);
    slot["network"] = networkJson(record);
    slot["signal"] = signalJson(diagnosis.signal);
    slot["session"] = sessionJson(report);
    slot["gps"] = {{"streaming", record.text("GPS_STREAM_ON") == "1"},
                   {"state", gpsWords(record).what},
                   {"receiver", text(record, "GPS_CHIPSET")}};
    slot["sms"] = {{"received", orNull(record.number("SMS_RECV"))},
                   {"sent", orNull(record.number("SMS_SENT"))},
                   {"failed", orNull(record.number("SMS_SENT_FAIL"))}};
}

tJson slotJson(const sSlotReport& report) {
    const sDiagnosis diagnosis = diagnose(report);
    tJson slot = {
        {"slot", report.slot},
        {"state", stateNames(diagnosis.state).id},
        {"daemon_running", report.daemonRuns},
        {"age_seconds", orNull(report.ageS)},
        {"stale", report.isStale()},
        {"problems", problemsJson(diagnosis)},
        {"data", {{"directive", directiveId(report.data.value)}, {"why", report.data.why}}}};
    if (report.isGood()) addRecord(slot, report, diagnosis);
    return slot;
}

}  // namespace

std::string statusJson(const std::vector<sSlotReport>& reports) {
    tJson slots = tJson::array();
    for (const sSlotReport& report : reports)
        slots.push_back(slotJson(report));
    return tJson{{"slots", slots}}.dump(INDENT, ' ', false, tJson::error_handler_t::replace);
}
