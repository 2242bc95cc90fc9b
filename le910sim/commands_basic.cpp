#include "le910sim/commands.h"
#include "le910sim/settings.h"

namespace le910sim {

// Basic commands of ITU-T V.250, error reporting, power and restart.

namespace {

sReply setEcho(sCall& call) {
    call.profile.echo = call.args().numberOr(0, 0, 0, 1) == 1;
    return answerOk();
}

// Only the result formats that a program can use: V1, Q0.
sReply acceptResultForm(sCall& call) {
    const bool words = call.command.name == "V";
    if (call.args().numberOr(0, 0, 0, 1) != (words ? 1 : 0)) {
        throw cMalformed("only ATV1 and ATQ0 are simulated");
    }
    return answerOk();
}

sReply restoreProfile(sCall& call) {
    call.args().numberOr(0, 0, 0, 1);
    call.profile.echo = true;
    call.profile.cmee = 0;
    return answerOk();
}

sReply acceptNumber(sCall& call) {
    call.args().numberOr(0, 0, 0, 9);
    return answerOk();
}

sReply setCmee(sCall& call) {
    call.args().expectCount(1, 1);
    call.profile.cmee = static_cast<int>(call.args().number(0, 0, 2));
    return answerOk();
}

sReply readCmee(sCall& call) {
    return answerOk({"+CMEE: " + std::to_string(call.profile.cmee)});
}

sReply setFunctionality(sCall& call) {
    call.args().expectCount(1, 2);
    const int64_t level = call.args().number(0, 0, 6);
    const bool reset = call.args().numberOr(1, 0, 0, 1) == 1;
    call.state.radioOn = level == 1 || level == 5;
    call.effects.restart = reset || level == 6;
    return answerOk();
}

sReply readFunctionality(sCall& call) {
    return answerOk({std::string("+CFUN: ") + (call.state.radioOn ? "1" : "4")});
}

sReply reboot(sCall& call) {
    call.effects.restart = true;
    return answerOk();
}

// In tenths of a second.
sReply delay(sCall& call) {
    call.args().expectCount(1, 1);
    call.effects.waitMs = 100 * static_cast<uint64_t>(call.args().number(0, 0, 3000));
    return answerOk();
}

sReply setTestMode(sCall& call) {
    call.args().expectCount(1, 1);
    const std::string& mode = call.args().quotedText(0);
    if (mode != "TM" && mode != "OM") throw cMalformed("neither \"TM\" nor \"OM\"");
    call.state.testModeNext = mode == "TM";
    return answerOk();
}

sReply readTestMode(sCall& call) {
    return answerOk({std::string("#TESTMODE: ") + (call.state.testMode ? "1" : "0")});
}

}  // namespace

const std::vector<sCommandRow>& basicCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"E", eFORM_EXECUTE, setEcho},
        {"V", eFORM_EXECUTE, acceptResultForm},
        {"X", eFORM_EXECUTE, acceptNumber},
        {"Q", eFORM_EXECUTE, acceptResultForm},
        {"Z", eFORM_EXECUTE, restoreProfile},
        {"&F", eFORM_EXECUTE, restoreProfile},
        {"&W", eFORM_EXECUTE, acceptNumber},
        {"&P", eFORM_EXECUTE, acceptNumber},
        {"&K", eFORM_EXECUTE, acceptNumber},
        {"&D", eFORM_EXECUTE, acceptNumber},
        {"&C", eFORM_EXECUTE, acceptNumber},
        {"+CMEE", eFORM_SET, setCmee},
        {"+CMEE", eFORM_READ, readCmee},
        {"+CFUN", eFORM_SET, setFunctionality},
        {"+CFUN", eFORM_READ, readFunctionality},
        {"#REBOOT", eFORM_EXECUTE, reboot},
        {"#ATDELAY", eFORM_SET, delay},
        {"#TESTMODE", eFORM_SET, setTestMode},
        {"#TESTMODE", eFORM_READ, readTestMode},
    };
    return TABLE;
}

}  // namespace le910sim
