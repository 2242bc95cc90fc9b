#include <algorithm>

#include "le910sim/commands.h"
#include "le910sim/settings.h"
#include "le910sim/text.h"

namespace le910sim {

// Radio preferences, the setting of the status LED, the clock.

namespace {

sReply setNetworkMode(sCall& call) {
    call.args().expectCount(1, 1);
    const int64_t mode = call.args().number(0, 12, 31);
    const std::vector<int>& known = modelRow(call.state.model).ws46;
    if (std::find(known.begin(), known.end(), mode) == known.end()) {
        return answerCme(eCME_NOT_SUPPORTED);
    }
    call.state.settings["+WS46"] = {mode};
    return answerOk();
}

sReply readNetworkMode(sCall& call) {
    return answerOk({"+WS46: " + std::to_string(call.state.setting("+WS46"))});
}

sReply testNetworkMode(sCall& call) {
    std::vector<std::string> modes;
    for (const int mode : modelRow(call.state.model).ws46)
        modes.push_back(std::to_string(mode));
    return answerOk({"+WS46: (" + joined(modes, ",") + ")"});
}

sReply setBands(sCall& call) {
    call.args().expectCount(2, 3);
    const sModelRow& model = modelRow(call.state.model);
    const int64_t gsm = call.args().number(0, 0, 5);
    const int64_t umts = call.args().number(1, 0, 31);
    const int64_t lte = call.args().numberOr(2, 0, 0, INT64_MAX);
    const bool umtsKnown = umts == 0 || (model.umtsBands >> umts & 1U) != 0;
    if (!umtsKnown || (static_cast<uint64_t>(lte) & ~model.lteBands) != 0) {
        return answerCme(eCME_WRONG_PARAMETERS);
    }
    call.state.bands = {gsm, umts, lte};
    return answerOk();
}

sReply readBands(sCall& call) {
    std::vector<std::string> texts;
    for (const int64_t band : call.state.bands)
        texts.push_back(std::to_string(band));
    return answerOk({"#BND: " + joined(texts, ",")});
}

// The UMTS values are a list, those of LTE a mask.
sReply testBands(sCall& call) {
    const sModelRow& model = modelRow(call.state.model);
    std::vector<std::string> umts = {"0"};
    for (unsigned int value = 1; value < 32; ++value) {
        if ((model.umtsBands >> value & 1U) != 0) umts.push_back(std::to_string(value));
    }
    return answerOk(
        {"#BND: (0-5),(" + joined(umts, ",") + "),(1-" + std::to_string(model.lteBands) + ")"});
}

sReply saveLed(sCall& call) {
    call.state.savedLed = call.state.settings.at("#SLED");
    return answerOk();
}

// #CCLKMODE=1 gives UTC instead of local time.
sReply readClock(sCall& call) {
    sClock clock = modemClock(call.state);
    const bool plain = call.command.name == "+CCLK";
    if (!plain && call.state.setting("#CCLKMODE") == 1) {
        clock.localSeconds -= clock.zoneQuarters * 900;
    }
    std::string text = clockText(clock);
    if (!plain) text += "," + std::to_string(clock.daylightSaving);
    return answerOk({call.command.name + ": " + inQuotes(text)});
}

sReply setClock(sCall& call) {
    call.args().expectCount(1, 1);
    const std::string& text = call.args().quotedText(0);
    if (!parseClock(text)) throw cMalformed("not a time");
    call.state.network.time = text;
    call.state.network.timeSetMs = call.state.nowMs;
    return answerOk();
}

}  // namespace

const std::vector<sCommandRow>& radioCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"+WS46", eFORM_SET, setNetworkMode},   {"+WS46", eFORM_READ, readNetworkMode},
        {"+WS46", eFORM_TEST, testNetworkMode}, {"#BND", eFORM_SET, setBands},
        {"#BND", eFORM_READ, readBands},        {"#BND", eFORM_TEST, testBands},
        {"#SLEDSAV", eFORM_EXECUTE, saveLed},   {"#CCLK", eFORM_READ, readClock},
        {"+CCLK", eFORM_READ, readClock},       {"+CCLK", eFORM_SET, setClock},
    };
    return TABLE;
}

}  // namespace le910sim
