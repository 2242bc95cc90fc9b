#include "le910sim/commands.h"
#include "le910sim/text.h"

namespace le910sim {

// Packet domain: attach, contexts, addresses, raw-IP data mode.

namespace {

std::string value(const sModemState& state, const std::string& text) {
    return state.behaviour.quoted ? inQuotes(text) : text;
}

int contextId(const sCall& call, size_t index) {
    return static_cast<int>(call.args().number(index, 1, CONTEXT_ID_MAX));
}

sContext* findContext(sModemState& state, int id) {
    const auto found = state.contexts.find(id);
    return found == state.contexts.end() ? nullptr : &found->second;
}

// The contexts a command names, or all.
std::vector<int> namedContexts(const sCall& call, size_t first) {
    std::vector<int> ids;
    if (call.command.form == eFORM_SET) {
        for (size_t i = first; i < call.args().count(); ++i)
            ids.push_back(contextId(call, i));
    }
    if (!ids.empty()) return ids;
    for (const auto& entry : call.state.contexts)
        ids.push_back(entry.first);
    return ids;
}

sReply readAttach(sCall& call) {
    return answerOk({std::string("+CGATT: ") + (call.state.attached ? "1" : "0")});
}

sReply setAttach(sCall& call) {
    call.args().expectCount(1, 1);
    sModemState& state = call.state;
    const bool attach = call.args().number(0, 0, 1) == 1;
    if (const int obstacle = simObstacle(state)) return answerCme(obstacle);
    if (!attach) {
        state.attached = false;
        return answerOk();
    }
    if (!isRegistered(state)) return answerCme(eCME_NO_SERVICE);
    if (!state.network.acceptsAttach) return answerCme(eCME_GPRS_NOT_ALLOWED);
    state.attached = true;
    return answerOk();
}

sReply readContexts(sCall& call) {
    sReply reply = answerOk();
    const sModemState& state = call.state;
    for (const auto& entry : state.contexts) {
        const sContext& context = entry.second;
        reply.lines.push_back("+CGDCONT: " + std::to_string(entry.first) + "," +
                              value(state, context.type) + "," + value(state, context.apn) + "," +
                              value(state, context.address) + ",0,0");
    }
    return reply;
}

sReply defineContext(sCall& call) {
    call.args().expectCount(1, 8);
    const int id = contextId(call, 0);
    sContext* known = findContext(call.state, id);
    if (known != nullptr && known->active) return answerCme(eCME_NOT_ALLOWED);
    if (call.args().count() == 1) {
        call.state.contexts.erase(id);
        return answerOk();
    }
    const std::string& type = call.args().quotedText(1);
    if (type != "IP" && type != "IPV4" && type != "IPV6" && type != "IPV4V6") {
        throw cMalformed("unknown PDP type");
    }
    sContext context = known == nullptr ? sContext() : *known;
    context.type = type;
    context.apn = call.args().given(2) ? call.args().quotedText(2) : "";
    context.address = call.args().given(3) ? call.args().quotedText(3) : "";
    call.args().numberOr(4, 0, 0, 4);
    call.args().numberOr(5, 0, 0, 4);
    call.state.contexts[id] = context;
    return answerOk();
}

// One line for each type; +CGDCONT=? of 3GPP TS 27.007 section 10.1.1.
sReply testContexts(sCall&) {
    sReply reply = answerOk();
    for (const char* type : {"IP", "IPV6", "IPV4V6"}) {
        reply.lines.push_back("+CGDCONT: (1-" + std::to_string(CONTEXT_ID_MAX) + ")," +
                              inQuotes(type) + ",,,(0-4),(0-4)");
    }
    return reply;
}

sReply readActive(sCall& call) {
    sReply reply = answerOk();
    for (const auto& entry : call.state.contexts) {
        reply.lines.push_back("+CGACT: " + std::to_string(entry.first) +
                              (entry.second.active ? ",1" : ",0"));
    }
    return reply;
}

sReply setActive(sCall& call) {
    call.args().expectCount(1, 1 + CONTEXT_ID_MAX);
    const bool up = call.args().number(0, 0, 1) == 1;
    const std::vector<int> ids = namedContexts(call, 1);
    if (const int obstacle = simObstacle(call.state)) return answerCme(obstacle);
    for (const int id : ids) {
        if (up) {
            if (const int failure = bringUpContext(call.state, id)) return answerCme(failure);
            continue;
        }
        sContext* context = findContext(call.state, id);
        if (context == nullptr) return answerCme(eCME_INVALID_INDEX);
        deactivateContext(*context);
    }
    return answerOk();
}

sReply showAddresses(sCall& call) {
    sReply reply = answerOk();
    for (const int id : namedContexts(call, 0)) {
        const sContext* context = findContext(call.state, id);
        if (context == nullptr) continue;
        std::string line = "+CGPADDR: " + std::to_string(id);
        if (!context->ipv4.empty()) line += "," + value(call.state, context->ipv4);
        if (!context->ipv6.empty()) line += "," + value(call.state, ipv6Dotted(context->ipv6));
        if (!context->active) line += "," + value(call.state, "");
        reply.lines.push_back(line);
    }
    return reply;
}

std::string element(const std::vector<std::string>& list, size_t index) {
    return index < list.size() ? list[index] : "";
}

// One line of +CGCONTRDP, 3GPP TS 27.007 section 10.1.23; empty fields at the end are left out.
std::string dynamicLine(const sModemState& state, int id, const std::vector<std::string>& fields) {
    size_t used = fields.size();
    while (used > 1 && fields[used - 1].empty())
        --used;
    std::string line = "+CGCONTRDP: " + std::to_string(id) + "," + std::to_string(4 + id);
    for (size_t i = 0; i < used; ++i) {
        line += "," + (fields[i].empty() && i > 0 ? std::string() : value(state, fields[i]));
    }
    return line;
}

std::vector<std::string> ipv6Texts(const std::vector<std::string>& addresses) {
    std::vector<std::string> texts;
    texts.reserve(addresses.size());
    for (const std::string& address : addresses)
        texts.push_back(ipv6Dotted(address));
    return texts;
}

void appendDynamic(const sModemState& state, int id, const sContext& context, sReply& reply) {
    const sAddressPlan& plan = context.plan ? *context.plan : state.addresses;
    if (!context.ipv4.empty()) {
        const std::string mask = plan.ipv4Mask.empty() ? "" : "." + plan.ipv4Mask;
        const std::string madeGateway = context.ipv4.substr(0, context.ipv4.rfind('.')) + ".1";
        reply.lines.push_back(
            dynamicLine(state, id,
                        {context.apn, context.ipv4 + mask, plan.ipv4Gateway.value_or(madeGateway),
                         element(plan.ipv4Dns, 0), element(plan.ipv4Dns, 1),
                         element(plan.ipv4Pcscf, 0), element(plan.ipv4Pcscf, 1)}));
    }
    if (!context.ipv6.empty()) {
        const std::vector<std::string> dns = ipv6Texts(plan.ipv6Dns);
        const std::vector<std::string> pcscf = ipv6Texts(plan.ipv6Pcscf);
        const std::string mask = "." + ipv6MaskDotted(plan.ipv6Prefix);
        reply.lines.push_back(
            dynamicLine(state, id,
                        {context.apn, ipv6Dotted(context.ipv6) + mask, ipv6Dotted(plan.ipv6Gateway),
                         element(dns, 0), element(dns, 1), element(pcscf, 0), element(pcscf, 1)}));
    }
}

sReply showDynamic(sCall& call) {
    call.args().expectCount(0, 1);
    sReply reply = answerOk();
    for (const int id : namedContexts(call, 0)) {
        const sContext* context = findContext(call.state, id);
        if (context != nullptr) appendDynamic(call.state, id, *context, reply);
    }
    return reply;
}

sReply setNcm(sCall& call) {
    call.args().expectCount(2, 2);
    const bool on = call.args().number(0, 0, 1) == 1;
    sContext* context = findContext(call.state, contextId(call, 1));
    if (context == nullptr) return answerCme(eCME_INVALID_INDEX);
    context->ncm = on;
    return answerOk();
}

sReply enterDataMode(sCall& call) {
    call.args().expectCount(2, 2);
    if (call.args().quotedText(0) != "M-RAW_IP") throw cMalformed("only \"M-RAW_IP\"");
    const sContext* context = findContext(call.state, contextId(call, 1));
    if (context == nullptr || !context->active) return answerCme(eCME_NOT_OPENED);
    sReply reply;
    reply.final = call.state.behaviour.cgdataOk ? eFINAL_CONNECT_AND_OK : eFINAL_CONNECT;
    return reply;
}

sReply setAuthentication(sCall& call) {
    call.args().expectCount(2, 4);
    const int id = contextId(call, 0);
    const int64_t type = call.args().number(1, 0, 3);
    if (type != 0) call.args().expectCount(4, 4);
    sContext* context = findContext(call.state, id);
    if (context == nullptr) return answerCme(eCME_INVALID_INDEX);
    context->authType = static_cast<int>(type);
    context->user = type == 0 ? "" : call.args().text(2);
    context->password = type == 0 ? "" : call.args().text(3);
    return answerOk();
}

sReply readAuthentication(sCall& call) {
    sReply reply = answerOk();
    for (const auto& entry : call.state.contexts) {
        const sContext& context = entry.second;
        std::string line =
            "#PDPAUTH: " + std::to_string(entry.first) + "," + std::to_string(context.authType);
        if (context.authType != 0) line += "," + inQuotes(context.user);
        reply.lines.push_back(line);
    }
    return reply;
}

sReply setImsApn(sCall& call) {
    call.args().expectCount(1, 1);
    if (call.args().text(0).empty()) throw cMalformed("no APN");
    call.state.imsApn = call.args().text(0);
    return answerOk();
}

sReply readImsApn(sCall& call) {
    return answerOk({"#IMSPDPSET: " + inQuotes(call.state.imsApn)});
}

}  // namespace

int bringUpContext(sModemState& state, int id) {
    if (findContext(state, id) == nullptr) return eCME_INVALID_INDEX;
    if (findContext(state, id)->active) return 0;
    if (!isRegistered(state)) return eCME_NO_SERVICE;
    if (!state.attached) return eCME_GPRS_ERROR;
    if (!state.network.acceptsActivation || !activateContext(state, id)) {
        return eCME_ACTIVATION_FAILED;
    }
    return 0;
}

const std::vector<sCommandRow>& packetCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"+CGATT", eFORM_READ, readAttach},
        {"+CGATT", eFORM_SET, setAttach},
        {"+CGDCONT", eFORM_READ, readContexts},
        {"+CGDCONT", eFORM_SET, defineContext},
        {"+CGDCONT", eFORM_TEST, testContexts},
        {"+CGACT", eFORM_READ, readActive},
        {"+CGACT", eFORM_SET, setActive},
        {"+CGPADDR", eFORM_SET, showAddresses},
        {"+CGPADDR", eFORM_EXECUTE, showAddresses},
        {"+CGCONTRDP", eFORM_SET, showDynamic},
        {"+CGCONTRDP", eFORM_EXECUTE, showDynamic},
        {"#NCM", eFORM_SET, setNcm},
        {"+CGDATA", eFORM_SET, enterDataMode},
        {"#PDPAUTH", eFORM_SET, setAuthentication},
        {"#PDPAUTH", eFORM_READ, readAuthentication},
        {"#IMSPDPSET", eFORM_SET, setImsApn},
        {"#IMSPDPSET", eFORM_READ, readImsApn},
    };
    return TABLE;
}

}  // namespace le910sim
