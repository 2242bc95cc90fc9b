#include "le910sim/scenario.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "le910sim/settings.h"
#include "le910sim/sms_pdu.h"
#include "le910sim/text.h"

namespace le910sim {

namespace {

void readModel(cJsonReader& reader, sModemState& state) {
    if (!reader.has("model")) return;
    const std::string name = reader.requiredText("model");
    for (const sModelRow& row : modelTable()) {
        if (name != row.name) continue;
        state.model = row.model;
        state.settings["+WS46"] = {row.defaultWs46};
        return;
    }
    reader.fail("model", "is '" + name + "', which is not simulated");
}

void readIdentity(cJsonReader& reader, sModemState& state) {
    if (reader.has("identity")) {
        cJsonReader section = reader.child("identity");
        section.read("manufacturer", state.identity.manufacturer);
        section.read("hardware", state.identity.hardware);
        section.read("imei", state.identity.imei);
        section.finish();
    }
    if (!reader.has("firmware")) return;
    cJsonReader section = reader.child("firmware");
    section.read("dual", state.firmware.dual);
    section.readInt("slot", state.firmware.slot, 0, 1);
    section.readInt("config_version", state.firmware.configVersion, 0, 1000000);
    std::vector<std::string> versions;
    section.read("versions", versions);
    if (versions.size() > 2) section.fail("versions", "has more than two entries");
    for (size_t i = 0; i < versions.size(); ++i)
        state.firmware.version[i] = versions[i];
    section.finish();
}

void readCard(cJsonReader& reader, sSimCard& card) {
    reader.read("present", card.present);
    reader.read("iccid", card.iccid);
    reader.read("imsi", card.imsi);
    reader.read("own_name", card.ownName);
    reader.read("own_number", card.ownNumber);
    reader.readInt("own_number_type", card.ownNumberType, 0, 255);
    reader.read("pin", card.pin);
    reader.read("puk", card.puk);
    reader.read("lock", card.lock);
    reader.readInt("pin_attempts", card.pinAttempts, 0, PIN_ATTEMPTS_MAX);
    reader.readInt("puk_attempts", card.pukAttempts, 0, PUK_ATTEMPTS_MAX);
    reader.read("verified", card.verified);
    reader.read("cpin_text", card.cpinText);
    reader.read("pct_text", card.pctText);
    reader.finish();
}

// A card that is inserted or removed forgets that its PIN was given.
void readCards(cJsonReader& reader, sModemState& state) {
    const char* const keys[] = {"sim", "sim2"};
    for (size_t i = 0; i < 2; ++i) {
        if (!reader.has(keys[i])) continue;
        const bool present = state.cards[i].present;
        if (i == 1 && !reader.required(keys[i]).contains("present")) state.cards[i].present = true;
        cJsonReader section = reader.child(keys[i]);
        readCard(section, state.cards[i]);
        if (state.cards[i].present != present) state.cards[i].verified = false;
    }
}

std::vector<sOperator> readOperators(cJsonReader& reader, const char* key) {
    const nlohmann::json& list = reader.required(key);
    if (!list.is_array()) reader.fail(key, "is not a list");
    std::vector<sOperator> operators;
    for (size_t i = 0; i < list.size(); ++i) {
        cJsonReader entry(list[i], reader.where() + "." + key + "[" + std::to_string(i) + "]");
        operators.push_back({entry.requiredText("plmn"), entry.requiredText("name")});
        entry.finish();
    }
    return operators;
}

void readTech(cJsonReader& reader, sNetwork& network) {
    if (!reader.has("tech")) return;
    const std::string name = reader.requiredText("tech");
    const std::vector<sTechRow>& table = techTable();
    const auto row = std::find_if(table.begin(), table.end(),
                                  [&](const sTechRow& entry) { return name == entry.name; });
    if (row == table.end()) reader.fail("tech", "is '" + name + "', which is not known");
    network.tech = static_cast<size_t>(row - table.begin());
}

// The state as a number or as a word.
void readRegistrationState(cJsonReader& reader, sNetwork& network) {
    static const std::vector<std::string> WORDS = {"none",   "home",    "searching",
                                                   "denied", "unknown", "roaming"};
    const nlohmann::json* value = reader.value("state");
    if (value == nullptr) return;
    if (!value->is_string()) {
        reader.readInt("state", network.state, 0, 5);
        return;
    }
    const auto word = std::find(WORDS.begin(), WORDS.end(), value->get<std::string>());
    if (word == WORDS.end()) {
        reader.fail("state", "is none of " + joined(WORDS, ", "));
    }
    network.state = static_cast<int>(word - WORDS.begin());
}

void readRegistration(cJsonReader& parent, sNetwork& network) {
    if (!parent.has("registration")) return;
    cJsonReader reader = parent.child("registration");
    readRegistrationState(reader, network);
    readTech(reader, network);
    reader.read("plmn", network.current.plmn);
    reader.read("operator", network.current.name);
    reader.read("area", network.area);
    reader.read("cell", network.cell);
    reader.read("rac", network.rac);
    reader.readInt("band", network.bandNumber, 0, 255);
    reader.readInt("channel", network.channel, 0, 65535);
    reader.read("ims", network.ims);
    reader.read("auto_attach", network.autoAttach);
    reader.read("accepts_attach", network.acceptsAttach);
    reader.read("accepts_activation", network.acceptsActivation);
    if (reader.has("visible")) network.visible = readOperators(reader, "visible");
    reader.finish();
}

void readSignal(cJsonReader& parent, sRadioSignal& signal) {
    if (!parent.has("signal")) return;
    cJsonReader reader = parent.child("signal");
    reader.readInt("rssi", signal.rssi, 0, 99);
    reader.readInt("ber", signal.ber, 0, 99);
    reader.readInt("rsrp_dbm", signal.rsrpDbm, -200, 0);
    reader.readInt("rssi_dbm", signal.rssiDbm, -200, 0);
    reader.readInt("rsrq_db", signal.rsrqDb, -100, 0);
    reader.readInt("rscp_dbm", signal.rscpDbm, -200, 0);
    reader.read("ecio_db", signal.ecioDb);
    reader.read("active_set", signal.activeSet);
    if (const nlohmann::json* hspa = reader.value("hspa")) {
        if (!hspa->is_array() || (!hspa->empty() && hspa->size() != 4)) {
            reader.fail("hspa", "is not a list of four numbers");
        }
        signal.hspa.clear();
        for (const nlohmann::json& item : *hspa) {
            if (!item.is_number_integer()) reader.fail("hspa", "is not a list of four numbers");
            signal.hspa.push_back(item.get<int>());
        }
    }
    reader.finish();
}

// One address or a list of them.
void readAddressList(cJsonReader& reader, const char* key, bool ipv6,
                     std::vector<std::string>& target) {
    const nlohmann::json* value = reader.value(key);
    if (value == nullptr) return;
    if (value->is_string()) {
        target = {value->get<std::string>()};
    } else {
        reader.read(key, target);
    }
    for (const std::string& address : target) {
        if (ipv6 ? !isIpv6(address) : !isIpv4(address)) {
            reader.fail(key, "holds '" + address + "', which is not an address");
        }
    }
}

void readAddressPlan(cJsonReader& reader, sAddressPlan& plan) {
    if (reader.has("families")) {
        const std::string families = reader.requiredText("families");
        if (families == "ipv4") {
            plan.families = eIPV4;
        } else if (families == "ipv6") {
            plan.families = eIPV6;
        } else if (families == "both") {
            plan.families = eIPV4V6;
        } else {
            reader.fail("families", "is none of ipv4, ipv6, both");
        }
    }
    readAddressList(reader, "ipv4", false, plan.ipv4);
    readAddressList(reader, "ipv4_dns", false, plan.ipv4Dns);
    readAddressList(reader, "ipv4_pcscf", false, plan.ipv4Pcscf);
    readAddressList(reader, "ipv6", true, plan.ipv6);
    readAddressList(reader, "ipv6_dns", true, plan.ipv6Dns);
    readAddressList(reader, "ipv6_pcscf", true, plan.ipv6Pcscf);
    reader.read("ipv4_mask", plan.ipv4Mask);
    reader.readInt("ipv6_prefix", plan.ipv6Prefix, 0, 128);
    reader.read("ipv6_gateway", plan.ipv6Gateway);
    if (reader.has("ipv4_gateway")) plan.ipv4Gateway = reader.requiredText("ipv4_gateway");
    reader.finish();
}

void readContext(cJsonReader& reader, sModemState& state) {
    const int id = readContextId(reader);
    sContext& context = state.contexts[id];
    reader.read("type", context.type);
    reader.read("apn", context.apn);
    reader.read("address", context.address);
    if (reader.has("addresses")) {
        cJsonReader plan = reader.child("addresses");
        context.plan = state.addresses;
        readAddressPlan(plan, *context.plan);
    }
    bool active = false;
    reader.read("active", active);
    reader.finish();
    if (!active) return;
    if (!state.attached) reader.fail("active", "needs 'attached': true");
    if (!activateContext(state, id)) reader.fail("active", "meets no address family");
}

void readContexts(cJsonReader& reader, sModemState& state) {
    const nlohmann::json* list = reader.value("contexts");
    if (list == nullptr) return;
    if (!list->is_array()) reader.fail("contexts", "is not a list");
    state.contexts.clear();
    for (size_t i = 0; i < list->size(); ++i) {
        cJsonReader entry((*list)[i], reader.where() + ".contexts[" + std::to_string(i) + "]");
        readContext(entry, state);
    }
}

void readTemperature(cJsonReader& parent, sModemState& state) {
    if (!parent.has("temperature")) return;
    cJsonReader reader = parent.child("temperature");
    reader.readInt("celsius", state.temperatureC, -273, 1000);
    reader.readInt("level", state.temperatureLevel, -2, 2);
    reader.finish();
}

// A text sets the time that the network sent; null removes it.
void readNetworkTime(cJsonReader& reader, sModemState& state) {
    const nlohmann::json* value = reader.value("network_time");
    if (value == nullptr) return;
    if (value->is_null()) {
        state.network.time.clear();
    } else {
        reader.read("network_time", state.network.time);
        if (!parseClock(state.network.time)) {
            reader.fail("network_time", "is not of the form yy/MM/dd,hh:mm:ss-zz,d");
        }
    }
    state.network.timeSetMs = state.nowMs;
}

void readTrack(cJsonReader& reader, sGpsReceiver& gps) {
    const nlohmann::json* value = reader.value("track");
    if (value == nullptr) return;
    if (!value->is_array() || value->empty()) reader.fail("track", "is not a list of points");
    std::vector<sGpsPoint> track;
    for (const nlohmann::json& item : *value) {
        const bool numbers = item.is_array() && (item.size() == 2 || item.size() == 3) &&
                             std::all_of(item.begin(), item.end(), [](const nlohmann::json& part) {
                                 return part.is_number();
                             });
        if (!numbers) reader.fail("track", "has a point that is not [latitude, longitude, metres]");
        sGpsPoint point = {item[0].get<double>(), item[1].get<double>(),
                           item.size() == 3 ? item[2].get<double>() : 0.0};
        if (!(point.latitude >= -90 && point.latitude <= 90 && point.longitude >= -180 &&
              point.longitude <= 180 && point.altitudeM >= -10000 && point.altitudeM <= 100000)) {
            reader.fail("track", "has a point that is not on Earth");
        }
        track.push_back(point);
    }
    gps.track = track;
}

void readGps(cJsonReader& parent, sGpsReceiver& gps) {
    if (!parent.has("gps")) return;
    cJsonReader reader = parent.child("gps");
    bool enabled = gps.savedPower;
    reader.read("enabled", enabled);
    if (enabled != gps.savedPower) gps.power = gps.savedPower = gps.running = enabled;
    reader.read("chipset", gps.chipset);
    reader.read("fix", gps.fix);
    reader.readInt("satellites", gps.satellites, 0, 99);
    reader.read("hdop", gps.hdop, 0, 100);
    reader.read("speed_knots", gps.speedKnots, 0, 100000);
    reader.read("course_deg", gps.courseDeg, 0, 360);
    readTrack(reader, gps);
    reader.read("gga_talker", gps.ggaTalker);
    reader.read("rmc_talker", gps.rmcTalker);
    reader.read("escape_reply", gps.escapeReply);
    reader.finish();
}

void readStored(cJsonReader& reader, sSmsStore& sms) {
    const nlohmann::json* list = reader.value("stored");
    if (list == nullptr) return;
    if (!list->is_array()) reader.fail("stored", "is not a list");
    sms.slots.clear();
    for (size_t i = 0; i < list->size(); ++i) {
        cJsonReader entry((*list)[i], reader.where() + ".stored[" + std::to_string(i) + "]");
        int index = static_cast<int>(i) + 1;
        sStoredSms stored;
        entry.readInt("index", index, 1, 255);
        entry.readInt("status", stored.status, eSMS_UNREAD, eSMS_SENT);
        stored.pdu = entry.requiredText("pdu");
        if (pduLength(stored.pdu) < 0) entry.fail("pdu", "is not a PDU in hexadecimal");
        entry.finish();
        sms.slots[index] = stored;
    }
}

void readSms(cJsonReader& parent, sSmsStore& sms) {
    if (!parent.has("sms")) return;
    cJsonReader reader = parent.child("sms");
    reader.readInt("capacity", sms.capacity, 0, 255);
    reader.read("bare_alpha", sms.bareAlpha);
    reader.read("service_centre", sms.serviceCentre);
    reader.readInt("prompt_timeout_ms", sms.promptTimeoutMs, 0, TIME_MAX_MS);
    reader.readInt("send_delay_ms", sms.sendDelayMs, 0, TIME_MAX_MS);
    readStored(reader, sms);
    reader.finish();
}

void readTimings(cJsonReader& parent, sTimings& timings) {
    if (!parent.has("timings")) return;
    cJsonReader reader = parent.child("timings");
    reader.readInt("ready_ms", timings.readyMs, 0, TIME_MAX_MS);
    reader.readInt("restart_grace_ms", timings.restartGraceMs, 0, TIME_MAX_MS);
    reader.readInt("restart_ms", timings.restartMs, 0, TIME_MAX_MS);
    reader.readInt("register_ms", timings.registerMs, 0, TIME_MAX_MS);
    reader.readInt("reply_ms", timings.replyMs, 0, TIME_MAX_MS);
    reader.finish();
}

void readBehaviour(cJsonReader& parent, sBehaviour& behaviour) {
    parent.read("cgdata_ok", behaviour.cgdataOk);
    parent.read("quoted", behaviour.quoted);
    parent.read("echo_pings", behaviour.echoPings);
    parent.read("any_source", behaviour.anySource);
    parent.read("boot_lines", behaviour.bootLines);
}

void readSimSlot(cJsonReader& reader, sModemState& state) {
    reader.readInt("sim_slot", state.activeSlot, 1, 2);
    state.gpio[SIM_SLOT_PIN] = {1, state.activeSlot == 1 ? 1 : 0};
}

std::vector<sTimelineEntry> readTimeline(cJsonReader& reader) {
    std::vector<sTimelineEntry> timeline;
    const nlohmann::json* list = reader.value("timeline");
    if (list == nullptr) return timeline;
    if (!list->is_array()) reader.fail("timeline", "is not a list");
    for (size_t i = 0; i < list->size(); ++i) {
        cJsonReader entry((*list)[i], reader.where() + ".timeline[" + std::to_string(i) + "]");
        double seconds = 0;
        entry.required("at");
        entry.read("at", seconds, 0, 1e9);
        nlohmann::json order = (*list)[i];
        order.erase("at");
        timeline.push_back({static_cast<uint64_t>(std::llround(seconds * 1000)), order});
    }
    std::stable_sort(timeline.begin(), timeline.end(),
                     [](const sTimelineEntry& left, const sTimelineEntry& right) {
                         return left.atMs < right.atMs;
                     });
    return timeline;
}

}  // namespace

int readContextId(cJsonReader& reader) {
    int id = 0;
    reader.required("cid");
    reader.readInt("cid", id, 1, CONTEXT_ID_MAX);
    return id;
}

void readLiveSections(cJsonReader& reader, sModemState& state) {
    readCards(reader, state);
    readRegistration(reader, state.network);
    readSignal(reader, state.signal);
    readTemperature(reader, state);
    readNetworkTime(reader, state);
    if (reader.has("addresses")) {
        cJsonReader plan = reader.child("addresses");
        readAddressPlan(plan, state.addresses);
    }
    readGps(reader, state.gps);
    readSms(reader, state.sms);
    readTimings(reader, state.timings);
    readBehaviour(reader, state.behaviour);
    reader.read("attached", state.attached);
}

uint32_t readPace(const std::string& text, const std::string& where) {
    if (text == "instant") return 0;
    if (!isStringNumeric(text) || text.size() > 9 || std::stoul(text) < 10) {
        throw std::invalid_argument(where + " is neither 'instant' nor a number of bits a second");
    }
    return static_cast<uint32_t>(std::stoul(text));
}

sScenario readScenario(const nlohmann::json& json) {
    cJsonReader reader(json, "scenario");
    sScenario scenario;
    sModemState& state = scenario.state;
    readModel(reader, state);
    readIdentity(reader, state);
    reader.read("test_mode", state.testMode);
    state.testModeNext = state.testMode;
    readSimSlot(reader, state);
    readLiveSections(reader, state);
    if (state.attached && !isRegistered(state)) {
        reader.fail("attached", "is true, but the modem is not registered");
    }
    readContexts(reader, state);
    if (reader.has("operator_names")) state.operatorNames = readOperators(reader, "operator_names");
    std::string pace = "instant";
    reader.read("pace", pace);
    scenario.baud = readPace(pace, "scenario: key 'pace'");
    if (const nlohmann::json* faults = reader.value("faults")) {
        if (!faults->is_array()) reader.fail("faults", "is not a list");
        scenario.faults.assign(faults->begin(), faults->end());
    }
    scenario.timeline = readTimeline(reader);
    reader.finish();
    return scenario;
}

}  // namespace le910sim
