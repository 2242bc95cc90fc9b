#include "le910sim/commands.h"

namespace le910sim {

// The data call over the port itself, and its end. What the host then says in PPP is not answered.

namespace {

// "*99#" or "*99***<cid>#", 3GPP TS 27.007 section 10.2.1.1: the context to call, 1 if none is
// named.
int calledContext(const std::string& number) {
    const std::string start = "*99";
    if (number == start + "#") return 1;
    const std::string named = start + "***";
    if (number.compare(0, named.size(), named) != 0 || number.back() != '#') {
        throw cMalformed("only the data calls *99# and *99***<cid>#");
    }
    const std::string id = number.substr(named.size(), number.size() - named.size() - 1);
    return static_cast<int>(cArguments::parse(id).number(0, 1, CONTEXT_ID_MAX));
}

// A call that fails for whatever reason ends like one that the network ends.
sReply dial(sCall& call) {
    call.args().expectCount(1, 1);
    const int id = calledContext(call.args().text(0));
    sModemState& state = call.state;
    sReply reply;
    reply.final = eFINAL_NO_CARRIER;
    if (simObstacle(state) != 0 || !isRegistered(state)) return reply;
    state.attached = state.attached || state.network.acceptsAttach;
    if (bringUpContext(state, id) != 0) return reply;
    state.callContext = id;
    call.effects.dataCall = true;
    reply.final = eFINAL_CONNECT;
    return reply;
}

sReply hangUp(sCall& call) {
    endCall(call.state);
    return answerOk();
}

sReply hangUpLine(sCall& call) {
    call.args().numberOr(0, 0, 0, 0);
    return hangUp(call);
}

// The test form of commands without values, and the list of voice calls: there is none.
sReply nothingToList(sCall&) {
    return answerOk();
}

sReply lastCause(sCall&) {
    return answerOk({"+CEER: Normal call clearing"});
}

}  // namespace

const std::vector<sCommandRow>& callCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"D", eFORM_EXECUTE, dial},
        {"H", eFORM_EXECUTE, hangUpLine},
        {"+CHUP", eFORM_EXECUTE, hangUp},
        {"+CHUP", eFORM_TEST, nothingToList},
        {"+CLCC", eFORM_EXECUTE, nothingToList},
        {"+CLCC", eFORM_TEST, nothingToList},
        {"+CEER", eFORM_EXECUTE, lastCause},
    };
    return TABLE;
}

}  // namespace le910sim
