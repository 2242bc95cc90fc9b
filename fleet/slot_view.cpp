#include "fleet/slot_view.h"

#include <algorithm>

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "mqtt/message_json.h"
#include "platform/include/text_helpers.h"
#include "published/status_keys.h"
#include "published/status_values.h"

namespace {

using tJson = nlohmann::json;

constexpr size_t TEXT_MAX = 256;
constexpr size_t ADDRESSES_MAX = 8;
constexpr long long LATEST_AGE_S = 100LL * 365 * 86400;

// Where the status file's values are in the JSON; the reverse of what status_json makes.
struct sValue {
    const char* part;
    const char* name;
    const sStatusKey& key;
};

// clang-format off
const sValue VALUES[] = {
    {"modem", "model", STATUS_MODEL},
    {"modem", "manufacturer", STATUS_MANU},
    {"modem", "imei", STATUS_IMEI},
    {"modem", "firmware", STATUS_FIRMWARE_V},
    {"modem", "firmware_carrier", STATUS_FIRMWARE_CARRIER},
    {"modem", "temperature_c", STATUS_TEMPERATURE},
    {"modem", "temperature_level", STATUS_TEMPERATURE_LEVEL},
    {"sim", "status", STATUS_SIM_STATUS},
    {"sim", "pin_report", STATUS_SIM_EXTENDED_STATUS},
    {"sim", "pin_lock", STATUS_SIM_CPIN_ENABLED},
    {"sim", "pin_attempts", STATUS_SIM_REMAIN_CPIN},
    {"sim", "puk_attempts", STATUS_SIM_REMAIN_PUK},
    {"sim", "iccid", STATUS_SIM_ID},
    {"sim", "imsi", STATUS_SIM_IMSI},
    {"sim", "number", STATUS_MDN},
    {"sim", "carrier", STATUS_SIM_CARRIER},
    {"sim", "holder", STATUS_SIM_SLOT},
    {"network", "registration", STATUS_CREG},
    {"network", "registered", STATUS_CREG_REGISTERED},
    {"network", "operator", STATUS_CARRIER},
    {"network", "plmn", STATUS_CARRIER_PLMN},
    {"network", "technology", STATUS_SERVICE_TYPE},
    {"network", "band", STATUS_BAND},
    {"network", "channel", STATUS_CURRENT_CHAN},
    {"network", "cell", STATUS_SERVSYS_CELL_ID},
    {"network", "area", STATUS_CURRENT_LAC_TAC},
    {"signal", "rsrp_dbm", STATUS_CURRENT_RSRP},
    {"signal", "rsrq_db", STATUS_CURRENT_RSRQ},
    {"signal", "rssi_dbm", STATUS_CURRENT_RSSI},
    {"signal", "rscp_dbm", STATUS_CURRENT_RSCP},
    {"signal", "ecio_db", STATUS_CURRENT_ECIO},
    {"session", "seconds", STATUS_QMI_CALL_TIME},
    {"session", "interface", STATUS_NETWORK_INTERFACE},
    {"session", "apn", STATUS_SIM_APN_CURRENT},
    {"session", "last_error", STATUS_LAST_CONNECT_ERROR_E},
    {"session", "last_error_name", STATUS_LAST_CONNECT_ERROR},
    {"gps", "streaming", STATUS_GPS_STREAM_ON},
    {"gps", "receiver", STATUS_GPS_CHIPSET},
    {"sms", "received", STATUS_SMS_RECV},
    {"sms", "sent", STATUS_SMS_SENT},
    {"sms", "failed", STATUS_SMS_SENT_FAIL},
};

struct sDirective {
    const char* id;
    eCfgDataStatus value;
};
const sDirective DIRECTIVES[] = {
    {"on",               eCONF_DATA_CONNECT_ENABLED},
    {"forced_on",        eCONF_DATA_CONNECT_TEMP_ENABLED},
    {"off",              eCONF_DATA_CONNECT_DISABLED},
    {"forced_off",       eCONF_DATA_CONNECT_TEMP_DISABLED},
    {"waiting",          eCONF_DATA_CONNECT_HOLDOFF},
    {"modem_off",        eCONF_DATA_CONNECT_MODEM_OFF},
    {"forced_modem_off", eCONF_DATA_CONNECT_TEMP_MODEM_OFF},
};
// clang-format on

const tJson& member(const tJson& object, const char* name) {
    static const tJson NONE;
    const auto found = object.is_object() ? object.find(name) : object.end();
    return found != object.end() ? *found : NONE;
}

std::string printable(const tJson& value) {
    if (!value.is_string()) return "";
    return printableLine(beginningOf(value.get_ref<const std::string&>(), TEXT_MAX));
}

// As the status file has it.
std::string textOf(const tJson& value) {
    if (value.is_boolean()) return value.get<bool>() ? STATUS_YES : STATUS_NO;
    if (value.is_number_integer()) return printableLine(value.dump());
    if (value.is_number()) return shortNumber(value.get<double>());
    return printable(value);
}

bool isTrue(const tJson& value) {
    return value.is_boolean() && value.get<bool>();
}

void readRecord(const tJson& slot, sSlotReport& report) {
    sStatusRecord& record = report.file.record;
    for (const sValue& value : VALUES) {
        const std::string text = textOf(member(member(slot, value.part), value.name));
        if (!text.empty()) record.values[value.key.name] = text;
    }
    if (isTrue(member(member(slot, "network"), "roaming")))
        record.values[STATUS_CREG_ABR.name] = REGISTRATION_ROAMING;
    if (isTrue(member(member(slot, "session"), "connected")))
        record.values[STATUS_QMI_STATE.name] = SESSION_CONNECTED;
    for (const tJson& address : member(member(slot, "session"), "addresses"))
        if (address.is_string() && report.addresses.size() < ADDRESSES_MAX)
            report.addresses.push_back(printable(address));
    report.file.state = eStatusFile::GOOD;
}

// A session goes on while nothing else is reported.
void addSeconds(sStatusRecord& record, long long since) {
    const std::optional<long long> seconds = record.number(STATUS_QMI_CALL_TIME);
    if (seconds && *seconds >= 0 && *seconds < LATEST_AGE_S)
        record.values[STATUS_QMI_CALL_TIME.name] = ltos(*seconds + since);
}

void readData(const tJson& data, sDataDirectiveReport& directive) {
    const std::string id = printable(member(data, "directive"));
    for (const sDirective& each : DIRECTIVES)
        if (id == each.id) directive.value = each.value;
    directive.why = printable(member(data, "why"));
}

}  // namespace

sSlotView viewOf(const sSlotState& state, bool isOnline, time_t now) {
    sSlotView view;
    sSlotReport& report = view.report;
    report.slot = state.slot;
    const tJson slot = tJson::parse(state.json, nullptr, false);
    if (!slot.is_object()) return view;
    const long long since = std::max<long long>(now - state.time, 0);
    report.daemonRuns = isTrue(member(slot, "daemon_running"));
    report.ageS =
        numberField(slot, "age_seconds", 0, LATEST_AGE_S).value_or(0) + (isOnline ? 0 : since);
    readData(member(slot, "data"), report.data);
    if (member(slot, "network").is_object()) readRecord(slot, report);
    if (isOnline && report.isConnected()) addSeconds(report.file.record, since);
    view.gps = joined({printable(member(member(slot, "gps"), "state")),
                       report.file.record.text(STATUS_GPS_CHIPSET)});
    return view;
}
