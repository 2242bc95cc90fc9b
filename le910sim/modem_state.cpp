#include "le910sim/modem_state.h"

#include <ctime>

#include "le910sim/settings.h"
#include "le910sim/text.h"

namespace le910sim {

namespace {

constexpr int SEARCHING = 2;  // +CREG, 3GPP TS 27.007 section 7.2
constexpr uint32_t NA_UMTS = 1U << 1 | 1U << 2 | 1U << 4;
constexpr uint32_t EU_UMTS = 1U << 0 | 1U << 5 | 1U << 6;
constexpr uint64_t NA_LTE = 0x1181A;  // 2, 4, 5, 12, 13, 17
constexpr uint64_t EU_LTE = 0x800C5;  // 1, 3, 7, 8, 20

// Numbers of test networks and of some real ones; +COPN.
const std::vector<sOperator> OPERATORS = {
    {"00101", "Test PLMN 1-1"},
    {"00102", "Test PLMN 1-2"},
    {"001010", "Test PLMN 1-10"},
    {"20404", "vodafone NL"},
    {"20408", "NL KPN"},
    {"23415", "vodafone UK"},
    {"26201", "Telekom.de"},
    {"26202", "vodafone.de"},
    {"26203", "o2 - de"},
    {"28601", "Turkcell"},
    {"302220", "TELUS"},
    {"302610", "Bell"},
    {"302720", "ROGERS"},
    {"310260", "T-Mobile"},
    {"310410", "AT&T"},
    {"310380", "AT&T"},
    {"311480", "Verizon Wireless"},
    {"312530", "Sprint"},
    {"334020", "TELCEL"},
    {"50501", "Telstra Mobile"},
};

std::string nextAddress(const std::vector<std::string>& plan, int activation) {
    if (plan.empty()) return "";
    const size_t index = static_cast<size_t>(activation) - 1;
    return index < plan.size() ? plan[index] : plan.back();
}

int familiesOf(const std::string& type) {
    if (type == "IPV6") return eIPV6;
    return type == "IPV4V6" ? eIPV4V6 : eIPV4;
}

int64_t daysFromCivil(int year, int month, int day) {
    std::tm date = {};
    date.tm_year = year - 1900;
    date.tm_mon = month - 1;
    date.tm_mday = day;
    return timegm(&date) / 86400;
}

// Reads the numbers of a text; each separator must be one of the characters allowed at its place.
bool readNumbers(const std::string& text, const std::vector<std::string>& separators,
                 std::vector<int>& numbers, std::string& found) {
    std::string digits;
    for (const char letter : text + '\0') {
        if (letter >= '0' && letter <= '9') {
            digits += letter;
            continue;
        }
        if (digits.empty() || digits.size() > 2) return false;
        numbers.push_back(std::stoi(digits));
        digits.clear();
        if (letter == '\0') return true;
        if (found.size() >= separators.size() ||
            separators[found.size()].find(letter) == std::string::npos) {
            return false;
        }
        found += letter;
    }
    return false;
}

}  // namespace

const std::vector<sModelRow>& modelTable() {
    static const std::vector<sModelRow> TABLE = {
        {eMODEL_NA1, "LE910-NA1", "20.00.402", NA_UMTS, NA_LTE, {22, 28, 31}, 31},
        {eMODEL_NA_V2, "LE910-NA V2", "20.00.402", NA_UMTS, NA_LTE, {22, 28, 31}, 31},
        {eMODEL_EU_V2,
         "LE910-EU V2",
         "20.00.412",
         EU_UMTS,
         EU_LTE,
         {12, 22, 25, 28, 29, 30, 31},
         25},
    };
    return TABLE;
}

const sModelRow& modelRow(eModel model) {
    return modelTable()[static_cast<size_t>(model)];
}

const std::vector<sTechRow>& techTable() {
    static const std::vector<sTechRow> TABLE = {
        {"LTE", 4, 7, sTechRow::eFAMILY_LTE},     {"WCDMA", 2, 2, sTechRow::eFAMILY_WCDMA},
        {"HSDPA", 3, 4, sTechRow::eFAMILY_WCDMA}, {"GSM", 0, 0, sTechRow::eFAMILY_GSM},
        {"EGPRS", 1, 3, sTechRow::eFAMILY_GSM},
    };
    return TABLE;
}

eCardState cardState(const sSimCard& card) {
    if (!card.present) return eCARD_MISSING;
    if (card.pukAttempts <= 0) return eCARD_BLOCKED;
    if (card.pinAttempts <= 0) return eCARD_PUK;
    if (card.lock && !card.verified) return eCARD_PIN;
    return eCARD_READY;
}

sModemState::sModemState() : settings(defaultSettings()), operatorNames(OPERATORS) {
    contexts[1].apn = "broadband";
    gpio[SIM_SLOT_PIN] = {1, 1};
    cards[1].present = false;
    settings["+WS46"] = {modelRow(model).defaultWs46};
    savedLed = settings["#SLED"];
    bands = {0, 0, 0};
}

eCardState sModemState::simState() const {
    return simForcedOut ? eCARD_MISSING : cardState(card());
}

int64_t sModemState::setting(const std::string& name, size_t index) const {
    const auto found = settings.find(name);
    return found == settings.end() || index >= found->second.size() ? 0 : found->second[index];
}

int registrationState(const sModemState& state) {
    if (!state.radioOn || state.deregistered || state.simState() != eCARD_READY) return 0;
    if (!state.manualPlmn.empty()) return SEARCHING;
    if (state.nowMs < state.registerAtMs) return SEARCHING;
    return state.network.state;
}

bool isRegistered(const sModemState& state) {
    const int stat = registrationState(state);
    return stat == 1 || stat == 5;
}

// A modem that has only lost coverage and searches stays attached and keeps its contexts: the
// network keeps them until it ends them explicitly.
void settle(sModemState& state) {
    if (isRegistered(state)) {
        if (state.network.autoAttach) state.attached = true;
    } else if (registrationState(state) != SEARCHING) {
        state.attached = false;
    }
    if (!state.attached) {
        for (auto& entry : state.contexts)
            deactivateContext(entry.second);
    }
    const auto called = state.contexts.find(state.callContext);
    if (called == state.contexts.end() || !called->second.active) state.callContext = 0;
}

bool activateContext(sModemState& state, int contextId) {
    sContext& context = state.contexts.at(contextId);
    const sAddressPlan& plan = context.plan ? *context.plan : state.addresses;
    const int families = familiesOf(context.type) & plan.families;
    if (families == 0) return false;
    ++context.activations;
    context.active = true;
    const std::string made = std::to_string(8 + (context.activations - 1) % 240);
    const std::string id = std::to_string(contextId);
    if ((families & eIPV4) != 0) {
        context.ipv4 = nextAddress(plan.ipv4, context.activations);
        if (context.ipv4.empty()) context.ipv4 = "10.64." + id + "." + made;
    }
    if ((families & eIPV6) != 0) {
        context.ipv6 = nextAddress(plan.ipv6, context.activations);
        if (context.ipv6.empty()) context.ipv6 = "2001:db8:" + id + "::" + made;
    }
    return true;
}

void deactivateContext(sContext& context) {
    context.active = false;
    context.ipv4.clear();
    context.ipv6.clear();
    context.ncm = false;
}

void endCall(sModemState& state) {
    const auto called = state.contexts.find(state.callContext);
    if (called != state.contexts.end()) deactivateContext(called->second);
    state.callContext = 0;
}

void resetAtPowerUp(sModemState& state) {
    for (sSimCard& card : state.cards)
        card.verified = false;
    state.testMode = state.testModeNext;
    state.simForcedOut = false;
    state.radioOn = true;
    state.deregistered = false;
    state.attached = false;
    for (auto& entry : state.contexts) {
        deactivateContext(entry.second);
        entry.second.authType = 0;
        entry.second.user.clear();
        entry.second.password.clear();
    }
    resetVolatileSettings(state.settings);
    state.settings["#SLED"] = state.savedLed;
    state.sms.characterSet = "IRA";
    state.gps.power = state.gps.savedPower;
    state.gps.running = state.gps.savedPower;
    state.registerAtMs = state.nowMs + state.timings.registerMs;
    settle(state);
}

std::optional<sClock> parseClock(const std::string& text) {
    std::vector<int> numbers;
    std::string found;
    if (!readNumbers(text, {"/", "/", ",", ":", ":", "+-", ","}, numbers, found)) {
        return std::nullopt;
    }
    if (numbers.size() < 6 || numbers[1] < 1 || numbers[1] > 12 || numbers[2] < 1 ||
        numbers[2] > 31 || numbers[3] > 23 || numbers[4] > 59 || numbers[5] > 59) {
        return std::nullopt;
    }
    sClock clock;
    const int year = numbers[0] + (numbers[0] >= 80 ? 1900 : 2000);
    const int64_t days = daysFromCivil(year, numbers[1], numbers[2]);
    clock.localSeconds = days * 86400 + numbers[3] * 3600 + numbers[4] * 60 + numbers[5];
    if (numbers.size() > 6) clock.zoneQuarters = found[5] == '-' ? -numbers[6] : numbers[6];
    if (numbers.size() > 7) clock.daylightSaving = numbers[7];
    return clock;
}

sClock modemClock(const sModemState& state) {
    sClock clock;
    const std::optional<sClock> given = parseClock(state.network.time);
    // A modem that never saw the network's time counts from 6 January 1980, the start of GPS time.
    clock = given ? *given : *parseClock("80/01/06,00:00:00");
    clock.localSeconds += static_cast<int64_t>((state.nowMs - state.network.timeSetMs) / 1000);
    return clock;
}

std::string clockText(const sClock& clock) {
    const time_t seconds = clock.localSeconds;
    std::tm date = {};
    gmtime_r(&seconds, &date);
    const int zone = clock.zoneQuarters < 0 ? -clock.zoneQuarters : clock.zoneQuarters;
    return padded(date.tm_year % 100, 2) + "/" + padded(date.tm_mon + 1, 2) + "/" +
           padded(date.tm_mday, 2) + "," + padded(date.tm_hour, 2) + ":" + padded(date.tm_min, 2) +
           ":" + padded(date.tm_sec, 2) + (clock.zoneQuarters < 0 ? "-" : "+") + padded(zone, 2);
}

}  // namespace le910sim
