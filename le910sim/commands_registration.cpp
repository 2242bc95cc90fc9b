#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "le910sim/commands.h"
#include "le910sim/text.h"

namespace le910sim {

// Registration, signal and the serving cell.

namespace {

// In mode 2 the location follows the state; 3GPP TS 27.007 section 7.2 and 10.1.22.
std::string registrationLine(const sModemState& state, const std::string& name, int stat) {
    const int64_t mode = state.setting(name);
    std::string line = name + ": " + std::to_string(mode) + "," + std::to_string(stat);
    if (mode == 2 && (stat == 1 || stat == 5)) {
        line += "," + inQuotes(state.network.area) + "," + inQuotes(state.network.cell) + "," +
                std::to_string(state.tech().copsAct);
    }
    return line;
}

sReply readCreg(sCall& call) {
    return answerOk(
        {registrationLine(call.state, call.command.name, registrationState(call.state))});
}

// The EPS registration; outside LTE there is none.
sReply readCereg(sCall& call) {
    const bool lte = call.state.tech().family == sTechRow::eFAMILY_LTE;
    return answerOk(
        {registrationLine(call.state, "+CEREG", lte ? registrationState(call.state) : 0)});
}

sReply readCireg(sCall& call) {
    const bool ims = call.state.network.ims && isRegistered(call.state);
    return answerOk(
        {"+CIREG: " + std::to_string(call.state.setting("+CIREG")) + (ims ? ",1" : ",0")});
}

sReply signalQuality(sCall& call) {
    const bool service = call.state.radioOn;
    return answerOk({"+CSQ: " + std::to_string(service ? call.state.signal.rssi : 99) + "," +
                     std::to_string(service ? call.state.signal.ber : 99)});
}

// The number for a level: 0 below the scale, then one for each step; 3GPP TS 27.007 section 8.69.
int levelNumber(double value, double lowest, double step, int most) {
    return std::clamp(static_cast<int>(std::floor((value - lowest) / step)) + 1, 0, most);
}

// +CESQ: <rxlev>,<ber>,<rscp>,<ecno>,<rsrq>,<rsrp>; 99 and 255 stand for not known.
sReply extendedSignalQuality(sCall& call) {
    const sModemState& state = call.state;
    std::vector<int> values = {99, 99, 255, 255, 255, 255};
    if (state.radioOn) {
        const sRadioSignal& signal = state.signal;
        switch (state.tech().family) {
            case sTechRow::eFAMILY_GSM:
                values[0] = levelNumber(signal.rssiDbm, -110, 1, 63);
                values[1] = signal.ber;
                break;
            case sTechRow::eFAMILY_WCDMA:
                values[2] = levelNumber(signal.rscpDbm, -120, 1, 96);
                values[3] = levelNumber(std::strtod(signal.ecioDb.c_str(), nullptr), -24, 0.5, 49);
                break;
            case sTechRow::eFAMILY_LTE:
                values[4] = levelNumber(signal.rsrqDb, -19.5, 0.5, 34);
                values[5] = levelNumber(signal.rsrpDbm, -140, 1, 97);
                break;
        }
    }
    std::vector<std::string> texts;
    for (const int value : values)
        texts.push_back(std::to_string(value));
    return answerOk({"+CESQ: " + joined(texts, ",")});
}

sReply testExtendedSignalQuality(sCall&) {
    return answerOk({"+CESQ: (0-63,99),(0-7,99),(0-96,255),(0-49,255),(0-34,255),(0-97,255)"});
}

sReply testIndicators(sCall&) {
    return answerOk(
        {"+CIND: ((\"battchg\",(0-5,99)),(\"signal\",(0-7,99)),(\"service\",(0,1)),"
         "(\"sounder\",(0,1)),(\"message\",(0,1)),(\"call\",(0,1)),(\"roam\",(0,1)),"
         "(\"smsfull\",(0,1)),(\"rssi\",(0-5,99)))"});
}

bool hasUnreadMessage(const sModemState& state) {
    return std::any_of(state.sms.slots.begin(), state.sms.slots.end(),
                       [](const auto& entry) { return entry.second.status == eSMS_UNREAD; });
}

// In the order of the test form; without a battery and a sounder.
sReply readIndicators(sCall& call) {
    const sModemState& state = call.state;
    const bool full = static_cast<int>(state.sms.slots.size()) >= state.sms.capacity;
    const int level = levelNumber(state.signal.rssiDbm, -111, 15, 5);
    std::vector<std::string> texts;
    for (const int value :
         {99, state.signal.ber, isRegistered(state) ? 1 : 0, 0, hasUnreadMessage(state) ? 1 : 0,
          state.callContext != 0 ? 1 : 0, registrationState(state) == 5 ? 1 : 0, full ? 1 : 0,
          state.radioOn ? level : 99}) {
        texts.push_back(std::to_string(value));
    }
    return answerOk({"+CIND: " + joined(texts, ",")});
}

sReply readNetworkType(sCall& call) {
    const sModemState& state = call.state;
    const bool registered = isRegistered(state);
    std::string line = "#PSNT: " + std::to_string(state.setting("#PSNT")) + "," +
                       std::to_string(registered ? state.tech().psnt : 5);
    if (registered && state.tech().family == sTechRow::eFAMILY_WCDMA) {
        for (const int value : state.signal.hspa)
            line += "," + std::to_string(value);
    }
    return answerOk({line});
}

// MCC and MNC separated, as #RFSTS writes them.
std::string spacedPlmn(const std::string& plmn) {
    if (plmn.size() < 5) return inQuotes(plmn);
    return inQuotes(plmn.substr(0, 3) + " " + plmn.substr(3));
}

std::string lteStatus(const sModemState& state) {
    const sNetwork& network = state.network;
    return joined({spacedPlmn(network.current.plmn), std::to_string(network.channel),
                   std::to_string(state.signal.rsrpDbm), std::to_string(state.signal.rssiDbm),
                   std::to_string(state.signal.rsrqDb), network.area, network.rac, "", "128", "19",
                   "0", network.cell, inQuotes(state.card().imsi), inQuotes(network.current.name),
                   "3", std::to_string(network.bandNumber)},
                  ",");
}

std::string wcdmaStatus(const sModemState& state) {
    const sNetwork& network = state.network;
    std::vector<std::string> fields = {spacedPlmn(network.current.plmn),
                                       std::to_string(network.channel),
                                       "284",
                                       state.signal.ecioDb,
                                       std::to_string(state.signal.rscpDbm),
                                       std::to_string(state.signal.rssiDbm),
                                       network.area,
                                       network.rac,
                                       "24",
                                       "64",
                                       "19",
                                       "4",
                                       "2",
                                       "000",
                                       network.cell,
                                       inQuotes(state.card().imsi),
                                       inQuotes(network.current.name),
                                       "3",
                                       std::to_string(state.signal.activeSet.size())};
    for (const std::string& cell : state.signal.activeSet)
        fields.push_back(cell);
    return joined(fields, ",");
}

std::string gsmStatus(const sModemState& state) {
    const sNetwork& network = state.network;
    return joined({spacedPlmn(network.current.plmn), std::to_string(network.channel),
                   std::to_string(state.signal.rssiDbm), network.area, network.rac, "0", "19", "29",
                   "", network.cell, inQuotes(state.card().imsi), inQuotes(network.current.name),
                   "3", std::to_string(network.bandNumber)},
                  ",");
}

std::string noServiceStatus(const sModemState& state) {
    return ",32767," + std::to_string(state.signal.rssiDbm) + ",,,19,27,,," +
           inQuotes(state.card().imsi) + ",\"\",0," + std::to_string(state.network.bandNumber);
}

sReply cellStatus(sCall& call) {
    const sModemState& state = call.state;
    if (state.simState() == eCARD_MISSING) return answerCme(eCME_NO_SIM);
    if (!isRegistered(state)) return answerOk({"#RFSTS: " + noServiceStatus(state)});
    switch (state.tech().family) {
        case sTechRow::eFAMILY_LTE:
            return answerOk({"#RFSTS: " + lteStatus(state)});
        case sTechRow::eFAMILY_WCDMA:
            return answerOk({"#RFSTS: " + wcdmaStatus(state)});
        case sTechRow::eFAMILY_GSM:
            break;
    }
    return answerOk({"#RFSTS:" + gsmStatus(state)});
}

sReply servingInfo(sCall& call) {
    if (!isRegistered(call.state)) return answerOk({"#SERVINFO:"});
    const sNetwork& network = call.state.network;
    return answerOk(
        {"#SERVINFO: " +
         joined({std::to_string(network.channel), std::to_string(call.state.signal.rssiDbm),
                 inQuotes(network.current.name), inQuotes(network.current.plmn), network.cell,
                 network.area, "128", "3", std::to_string(call.state.signal.rsrpDbm)},
                ",")});
}

sReply readOperator(sCall& call) {
    const sModemState& state = call.state;
    std::string line = "+COPS: " + std::to_string(state.copsMode);
    if (isRegistered(state)) {
        const sOperator& current = state.network.current;
        line += "," + std::to_string(state.copsFormat) + "," +
                inQuotes(state.copsFormat == 2 ? current.plmn : current.name) + "," +
                std::to_string(state.tech().copsAct);
    }
    return answerOk({line});
}

std::string operatorEntry(const sModemState& state, const sOperator& entry, int status) {
    return "(" + std::to_string(status) + "," + inQuotes(entry.name) + "," + inQuotes(entry.name) +
           "," + inQuotes(entry.plmn) + "," + std::to_string(state.tech().copsAct) + ")";
}

sReply listOperators(sCall& call) {
    std::string line = "+COPS: " + operatorEntry(call.state, call.state.network.current,
                                                 isRegistered(call.state) ? 2 : 1);
    for (const sOperator& entry : call.state.network.visible) {
        line += "," + operatorEntry(call.state, entry, 1);
    }
    return answerOk({line + ",,(0-4),(0,2)"});
}

const sOperator* findVisible(const sModemState& state, int64_t format, const std::string& text) {
    const auto matches = [&](const sOperator& entry) {
        return format == 2 ? entry.plmn == text : entry.name == text;
    };
    if (matches(state.network.current)) return &state.network.current;
    for (const sOperator& entry : state.network.visible) {
        if (matches(entry)) return &entry;
    }
    return nullptr;
}

void registerSoon(sModemState& state) {
    if (state.deregistered) state.registerAtMs = state.nowMs + state.timings.registerMs;
    state.deregistered = false;
}

sReply selectManually(sCall& call, int64_t mode) {
    call.args().expectCount(3, 4);
    sModemState& state = call.state;
    const int64_t format = call.args().number(1, 0, 2);
    const std::string text = call.args().quotedText(2);
    call.args().numberOr(3, 0, 0, 7);
    if (format == 2 && !isStringNumeric(text)) throw cMalformed("a PLMN is all digits");
    if (const int obstacle = simObstacle(state)) return answerCme(obstacle);
    state.copsMode = static_cast<int>(mode);
    state.copsFormat = static_cast<int>(format);
    registerSoon(state);
    const sOperator* found = findVisible(state, format, text);
    if (found == nullptr && mode == 1) {
        state.manualPlmn = text;
        return answerCme(eCME_NO_SERVICE);
    }
    state.manualPlmn.clear();
    if (found != nullptr && found != &state.network.current) {
        const sOperator chosen = *found;
        for (sOperator& entry : state.network.visible) {
            if (entry.plmn == chosen.plmn) entry = state.network.current;
        }
        state.network.current = chosen;
    }
    return answerOk();
}

sReply selectOperator(sCall& call) {
    call.args().expectCount(1, 4);
    sModemState& state = call.state;
    const int64_t mode = call.args().number(0, 0, 4);
    if (mode == 1 || mode == 4) return selectManually(call, mode);
    if (mode == 3) {
        call.args().expectCount(2, 2);
        state.copsFormat = static_cast<int>(call.args().number(1, 0, 2));
        return answerOk();
    }
    call.args().expectCount(1, 1);
    state.copsMode = static_cast<int>(mode);
    if (mode == 2) {
        state.deregistered = true;
    } else {
        state.manualPlmn.clear();
        registerSoon(state);
    }
    return answerOk();
}

sReply operatorNames(sCall& call) {
    sReply reply = answerOk();
    for (const sOperator& entry : call.state.operatorNames) {
        reply.lines.push_back("+COPN: " + inQuotes(entry.plmn) + "," + inQuotes(entry.name));
    }
    return reply;
}

}  // namespace

const std::vector<sCommandRow>& registrationCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"+CREG", eFORM_READ, readCreg},
        {"+CGREG", eFORM_READ, readCreg},
        {"+CEREG", eFORM_READ, readCereg},
        {"+CIREG", eFORM_READ, readCireg},
        {"+CESQ", eFORM_EXECUTE, extendedSignalQuality},
        {"+CESQ", eFORM_TEST, testExtendedSignalQuality},
        {"+CIND", eFORM_READ, readIndicators},
        {"+CIND", eFORM_TEST, testIndicators},
        {"+CSQ", eFORM_EXECUTE, signalQuality},
        {"#PSNT", eFORM_READ, readNetworkType},
        {"#RFSTS", eFORM_EXECUTE, cellStatus},
        {"#SERVINFO", eFORM_EXECUTE, servingInfo},
        {"+COPS", eFORM_READ, readOperator},
        {"+COPS", eFORM_TEST, listOperators},
        {"+COPS", eFORM_SET, selectOperator},
        {"+COPN", eFORM_EXECUTE, operatorNames},
    };
    return TABLE;
}

}  // namespace le910sim
