#include "le910sim/commands.h"
#include "le910sim/text.h"

namespace le910sim {

// The positioning receiver.

namespace {

// Without a name until the receiver was enabled, the setting saved, and the modem restarted.
sReply chipset(sCall& call) {
    const sGpsReceiver& gps = call.state.gps;
    return answerOk({"$GPSSW: " + (gps.running ? gps.chipset : std::string())});
}

sReply setPower(sCall& call) {
    call.args().expectCount(1, 1);
    call.state.gps.power = call.args().number(0, 0, 1) == 1;
    return answerOk();
}

sReply readPower(sCall& call) {
    return answerOk({std::string("$GPSP: ") + (call.state.gps.power ? "1" : "0")});
}

sReply testPower(sCall&) {
    return answerOk({"$GPSP: (0,1)"});
}

sReply save(sCall& call) {
    call.state.gps.savedPower = call.state.gps.power;
    return answerOk();
}

// $GPSNMUN=<mode>,<GGA>,<GLL>,<GSA>,<GSV>,<RMC>,<VTG>; mode 3 makes the port a stream.
sReply setSentences(sCall& call) {
    call.args().expectCount(1, 7);
    std::vector<int64_t> values = {call.args().number(0, 0, 3)};
    for (size_t i = 1; i < 7; ++i)
        values.push_back(call.args().numberOr(i, 0, 0, 1));
    const bool stream = values[0] == 3;
    if (stream && !call.state.gps.running) return answerCme(eCME_NOT_ALLOWED);
    call.profile.nmea = values;
    call.effects.streamNmea = stream;
    sReply reply;
    if (stream) reply.final = eFINAL_CONNECT;
    return reply;
}

sReply readSentences(sCall& call) {
    std::vector<std::string> texts;
    for (const int64_t value : call.profile.nmea)
        texts.push_back(std::to_string(value));
    return answerOk({"$GPSNMUN: " + joined(texts, ",")});
}

}  // namespace

const std::vector<sCommandRow>& gpsCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"$GPSSW", eFORM_EXECUTE, chipset},      {"$GPSP", eFORM_SET, setPower},
        {"$GPSP", eFORM_READ, readPower},        {"$GPSP", eFORM_TEST, testPower},
        {"$GPSSAV", eFORM_EXECUTE, save},        {"$GPSNMUN", eFORM_SET, setSentences},
        {"$GPSNMUN", eFORM_READ, readSentences},
    };
    return TABLE;
}

}  // namespace le910sim
