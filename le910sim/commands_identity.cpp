#include "le910sim/commands.h"
#include "le910sim/text.h"

namespace le910sim {

// Identity of the modem: maker, model, versions, firmware images, own number; and its temperature.

namespace {

const std::string& firmwareVersion(const sModemState& state) {
    return state.firmware.version[static_cast<size_t>(state.firmware.slot)];
}

sReply manufacturer(sCall& call) {
    call.args().expectCount(0, 1);
    return answerOk({call.state.identity.manufacturer});
}

sReply model(sCall& call) {
    if (call.state.testMode) return answerOk({"Modem software not inited"});
    return answerOk({modelRow(call.state.model).name});
}

sReply version(sCall& call) {
    const std::string& text = firmwareVersion(call.state);
    return answerOk({text.empty() ? modelRow(call.state.model).defaultVersion : text});
}

sReply identification(sCall& call) {
    switch (call.args().numberOr(0, 0, 0, 5)) {
        case 0:
            return answerOk({"332"});
        case 1:
            return answerOk({"000"});
        case 2:
            return answerOk();
        case 3:
            return answerOk({call.state.identity.manufacturer});
        case 4:
            return answerOk({modelRow(call.state.model).name});
        default:
            return answerOk({call.state.identity.hardware});
    }
}

// The package and its parts: modem, parameters, application.
sReply packageVersion(sCall& call) {
    const std::string& text = firmwareVersion(call.state);
    const std::string modem = text.empty() ? modelRow(call.state.model).defaultVersion : text;
    return answerOk({modem + "-P0A.000000", "M" + modem, "P0A.000000", "A00.000"});
}

// ITU-T V.250 section 6.1.9: a GSM modem with data compression and fax.
sReply capabilities(sCall&) {
    return answerOk({"+GCAP: +CGSM,+DS,+FCLASS,+MS"});
}

// It has no battery; 3GPP TS 27.007 section 8.4.
sReply batteryCharge(sCall&) {
    return answerOk({"+CBC: 2,0"});
}

sReply imei(sCall& call) {
    return answerOk({call.state.identity.imei});
}

sReply ownNumber(sCall& call) {
    if (const int obstacle = simObstacle(call.state)) return answerCme(obstacle);
    const sSimCard& card = call.state.card();
    if (card.ownNumber.empty()) return answerOk();
    return answerOk({"+CNUM: " + inQuotes(card.ownName) + "," + inQuotes(card.ownNumber) + "," +
                     std::to_string(card.ownNumberType)});
}

sReply temperature(sCall& call) {
    call.args().expectCount(1, 5);
    if (call.args().number(0, 0, 1) == 0) return answerOk();
    return answerOk({"#TEMPMEAS: " + std::to_string(call.state.temperatureLevel) + "," +
                     std::to_string(call.state.temperatureC)});
}

// A modem with one image does not know the command; that is no error of the caller.
sReply testFirmwareSwitch(sCall& call) {
    if (!call.state.firmware.dual) return answerError();
    return answerOk({"#FWSWITCH: (0,1),(0,1)"});
}

sReply readFirmwareSwitch(sCall& call) {
    if (!call.state.firmware.dual) return answerError();
    return answerOk({"#FWSWITCH: " + std::to_string(call.state.firmware.slot)});
}

sReply setFirmwareSwitch(sCall& call) {
    if (!call.state.firmware.dual) return answerError();
    call.args().expectCount(1, 2);
    const int slot = static_cast<int>(call.args().number(0, 0, 1));
    call.args().numberOr(1, 0, 0, 1);
    if (slot != call.state.firmware.slot) call.effects.restart = true;
    call.state.firmware.slot = slot;
    return answerOk();
}

sReply configVersion(sCall& call) {
    return answerOk({"#CFVR: " + std::to_string(call.state.firmware.configVersion)});
}

}  // namespace

const std::vector<sCommandRow>& identityCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"I", eFORM_EXECUTE, identification},
        {"+GMI", eFORM_EXECUTE, manufacturer},
        {"+CGMI", eFORM_EXECUTE, manufacturer},
        {"+GMM", eFORM_EXECUTE, model},
        {"+CGMM", eFORM_EXECUTE, model},
        {"+GMR", eFORM_EXECUTE, version},
        {"+CGMR", eFORM_EXECUTE, version},
        {"#SWPKGV", eFORM_EXECUTE, packageVersion},
        {"+GCAP", eFORM_EXECUTE, capabilities},
        {"+CBC", eFORM_EXECUTE, batteryCharge},
        {"+GSN", eFORM_EXECUTE, imei},
        {"+CGSN", eFORM_EXECUTE, imei},
        {"+CNUM", eFORM_EXECUTE, ownNumber},
        {"#TEMPMON", eFORM_SET, temperature},
        {"#FWSWITCH", eFORM_TEST, testFirmwareSwitch},
        {"#FWSWITCH", eFORM_READ, readFirmwareSwitch},
        {"#FWSWITCH", eFORM_SET, setFirmwareSwitch},
        {"#CFVR", eFORM_EXECUTE, configVersion},
    };
    return TABLE;
}

}  // namespace le910sim
