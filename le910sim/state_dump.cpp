#include "le910sim/state_dump.h"

namespace le910sim {

namespace {

using nlohmann::json;

const char* cardText(eCardState state) {
    switch (state) {
        case eCARD_MISSING:
            return "missing";
        case eCARD_READY:
            return "ready";
        case eCARD_PIN:
            return "pin";
        case eCARD_PUK:
            return "puk";
        case eCARD_BLOCKED:
            return "blocked";
    }
    return "";
}

json cardToJson(const sSimCard& card) {
    return {{"state", cardText(cardState(card))},
            {"iccid", card.iccid},
            {"imsi", card.imsi},
            {"pin", card.pin},
            {"puk", card.puk},
            {"lock", card.lock},
            {"pin_attempts", card.pinAttempts},
            {"puk_attempts", card.pukAttempts}};
}

json contextToJson(int id, const sContext& context) {
    return {{"cid", id},
            {"type", context.type},
            {"apn", context.apn},
            {"active", context.active},
            {"activations", context.activations},
            {"ipv4", context.ipv4},
            {"ipv6", context.ipv6},
            {"ncm", context.ncm},
            {"auth_type", context.authType},
            {"user", context.user},
            {"password", context.password}};
}

json storedToJson(const sSmsStore& sms) {
    json stored = json::array();
    for (const auto& entry : sms.slots) {
        stored.push_back({{"index", entry.first},
                          {"status", static_cast<int>(entry.second.status)},
                          {"pdu", entry.second.pdu}});
    }
    return stored;
}

json smsToJson(const sSmsStore& sms) {
    json sent = json::array();
    for (const sSentSms& message : sms.sent)
        sent.push_back(sentToJson(message));
    return {{"stored", storedToJson(sms)},
            {"waiting", sms.waiting},
            {"sent", sent},
            {"capacity", sms.capacity},
            {"character_set", sms.characterSet}};
}

json gpsToJson(const sGpsReceiver& gps) {
    return {{"running", gps.running},
            {"power", gps.power},
            {"saved_power", gps.savedPower},
            {"fix", gps.fix}};
}

json gpioToJson(const sModemState& state) {
    json pins = json::object();
    for (size_t pin = 1; pin < state.gpio.size(); ++pin) {
        pins[std::to_string(pin)] = {state.gpio[pin].direction, state.gpio[pin].value};
    }
    return pins;
}

}  // namespace

json sentToJson(const sSentSms& sms) {
    json result = {
        {"t", sms.timeMs}, {"number", sms.number}, {"text", sms.text}, {"coding", sms.coding}};
    if (!sms.pdu.empty()) result["pdu"] = sms.pdu;
    if (sms.total != 0) {
        result["reference"] = sms.reference;
        result["part"] = sms.part;
        result["total"] = sms.total;
    }
    return result;
}

json memoryToJson(const sModemState& state) {
    json card = cardToJson(state.cards[0]);
    card.erase("state");
    return {{"sim", card}, {"sms", {{"stored", storedToJson(state.sms)}}}};
}

json stateToJson(const sModemState& state) {
    json contexts = json::array();
    for (const auto& entry : state.contexts) {
        contexts.push_back(contextToJson(entry.first, entry.second));
    }
    return {{"model", modelRow(state.model).name},
            {"test_mode", state.testMode},
            {"firmware", {{"dual", state.firmware.dual}, {"slot", state.firmware.slot}}},
            {"sim_slot", state.activeSlot},
            {"sim_state", cardText(state.simState())},
            {"sim", cardToJson(state.cards[0])},
            {"sim2", cardToJson(state.cards[1])},
            {"registration",
             {{"state", registrationState(state)},
              {"tech", state.tech().name},
              {"plmn", state.network.current.plmn},
              {"operator", state.network.current.name},
              {"cops_mode", state.copsMode}}},
            {"radio_on", state.radioOn},
            {"attached", state.attached},
            {"signal", {{"rssi", state.signal.rssi}, {"ber", state.signal.ber}}},
            {"temperature", {{"celsius", state.temperatureC}, {"level", state.temperatureLevel}}},
            {"contexts", contexts},
            {"ims_apn", state.imsApn},
            {"settings", state.settings},
            {"saved_led", state.savedLed},
            {"bands", state.bands},
            {"gpio", gpioToJson(state)},
            {"clock", clockText(modemClock(state))},
            {"sms", smsToJson(state.sms)},
            {"gps", gpsToJson(state.gps)}};
}

}  // namespace le910sim
