#include "cli/status/status_json.h"

#include <nlohmann/json.hpp>

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/status/diagnosis.h"
#include "cli/status/plain_words.h"
#include "include/device_records.h"
#include "published/status_values.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr int INDENT = 2;
constexpr int NO_INDENT = -1;  // no line ends either

tJson orNull(const std::optional<double>& value) {
    return value ? tJson(*value) : tJson(nullptr);
}

tJson orNull(const std::optional<long long>& value) {
    return value ? tJson(*value) : tJson(nullptr);
}

tJson numberUnless(const sStatusRecord& record, const sStatusKey& key, long long unknown) {
    const std::optional<long long> value = record.number(key);
    return value && *value != unknown ? tJson(*value) : tJson(nullptr);
}

// Keeps the daemon's words for "not known", because programs may compare with them.
tJson text(const sStatusRecord& record, const sStatusKey& key) {
    const std::string value = record.text(key);
    return value.empty() ? tJson(nullptr) : tJson(printableLine(value));
}

tJson modemJson(const sStatusRecord& record) {
    return {{"model", text(record, STATUS_MODEL)},
            {"manufacturer", text(record, STATUS_MANU)},
            {"imei", text(record, STATUS_IMEI)},
            {"firmware", text(record, STATUS_FIRMWARE_V)},
            {"firmware_carrier", text(record, STATUS_FIRMWARE_CARRIER)},
            {"temperature_c", numberUnless(record, STATUS_TEMPERATURE, TEMPERATURE_UNKNOWN_C)},
            {"temperature_level", text(record, STATUS_TEMPERATURE_LEVEL)},
            {"device", text(record, STATUS_DEV_HANDLE_MAIN)}};
}

tJson simJson(const sStatusRecord& record) {
    return {{"status", text(record, STATUS_SIM_STATUS)},
            {"ready", record.text(STATUS_SIM_STATUS) == SIM_STATUS_AVAILABLE},
            {"pin_report", withoutSecrets(record.text(STATUS_SIM_EXTENDED_STATUS))},
            {"pin_lock", record.isSet(STATUS_SIM_CPIN_ENABLED)},
            {"pin_attempts", numberUnless(record, STATUS_SIM_REMAIN_CPIN, ATTEMPTS_UNKNOWN)},
            {"puk_attempts", numberUnless(record, STATUS_SIM_REMAIN_PUK, ATTEMPTS_UNKNOWN)},
            {"iccid", text(record, STATUS_SIM_ID)},
            {"imsi", text(record, STATUS_SIM_IMSI)},
            {"number", text(record, STATUS_MDN)},
            {"carrier", text(record, STATUS_SIM_CARRIER)},
            {"holder", orNull(record.number(STATUS_SIM_SLOT))}};
}

tJson networkJson(const sStatusRecord& record) {
    return {{"registration", text(record, STATUS_CREG)},
            {"registered", record.isSet(STATUS_CREG_REGISTERED)},
            {"roaming", record.text(STATUS_CREG_ABR) == REGISTRATION_ROAMING},
            {"operator", text(record, STATUS_CARRIER)},
            {"plmn", text(record, STATUS_CARRIER_PLMN)},
            {"technology", text(record, STATUS_SERVICE_TYPE)},
            {"band", text(record, STATUS_BAND)},
            {"channel", text(record, STATUS_CURRENT_CHAN)},
            {"cell", text(record, STATUS_SERVSYS_CELL_ID)},
            {"area", text(record, STATUS_CURRENT_LAC_TAC)}};
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
            {"seconds", isUp ? orNull(record.number(STATUS_QMI_CALL_TIME)) : tJson(nullptr)},
            {"interface", text(record, STATUS_NETWORK_INTERFACE)},
            {"addresses", report.addresses},
            {"apn", text(record, STATUS_SIM_APN_CURRENT)},
            {"last_error", orNull(record.number(STATUS_LAST_CONNECT_ERROR_E))},
            {"last_error_name", text(record, STATUS_LAST_CONNECT_ERROR)},
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
    slot["gps"] = {{"streaming", record.isSet(STATUS_GPS_STREAM_ON)},
                   {"state", gpsWords(record).what},
                   {"receiver", text(record, STATUS_GPS_CHIPSET)}};
    slot["sms"] = {{"received", orNull(record.number(STATUS_SMS_RECV))},
                   {"sent", orNull(record.number(STATUS_SMS_SENT))},
                   {"failed", orNull(record.number(STATUS_SMS_SENT_FAIL))}};
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

std::string statusJson(const std::vector<sSlotReport>& reports, eJsonLayout layout) {
    tJson slots = tJson::array();
    for (const sSlotReport& report : reports)
        slots.push_back(slotJson(report));
    const int indent = layout == eJsonLayout::INDENTED ? INDENT : NO_INDENT;
    return tJson{{"slots", slots}}.dump(indent, ' ', false, tJson::error_handler_t::replace);
}
