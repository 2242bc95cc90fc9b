#include <map>

#include "le910sim/commands.h"
#include "le910sim/settings.h"
#include "le910sim/sms_pdu.h"
#include "le910sim/text.h"

namespace le910sim {

// Messages in the modem's memory and the commands that open the prompt, 3GPP TS 27.005.

namespace {

// The words of text mode, indexed by status number.
const std::vector<std::string> STATUS_WORDS = {"REC UNREAD", "REC READ", "STO UNSENT", "STO SENT",
                                               "ALL"};
constexpr int STATUS_ALL = 4;

bool textMode(const sModemState& state) {
    return state.setting("+CMGF") == 1;
}

std::string alpha(const sModemState& state) {
    return state.sms.bareAlpha ? "" : "\"\"";
}

void appendPdu(const sModemState& state, const std::string& head, const sStoredSms& sms,
               sReply& reply) {
    reply.lines.push_back(head + std::to_string(sms.status) + "," + alpha(state) + "," +
                          std::to_string(pduLength(sms.pdu)));
    reply.lines.push_back(sms.pdu);
}

void appendText(const std::string& head, const sStoredSms& sms, sReply& reply) {
    const sDeliverView view = viewDeliver(sms.pdu);
    reply.lines.push_back(head + inQuotes(STATUS_WORDS[sms.status]) + "," + inQuotes(view.from) +
                          ",\"\"," + inQuotes(view.time));
    reply.lines.push_back(view.text);
}

void appendMessage(const sModemState& state, const std::string& head, const sStoredSms& sms,
                   sReply& reply) {
    if (textMode(state)) {
        appendText(head, sms, reply);
    } else {
        appendPdu(state, head, sms, reply);
    }
}

// The requested status: a number in PDU mode, a word in text mode.
int wantedStatus(const sCall& call) {
    call.args().expectCount(1, 1);
    if (!textMode(call.state)) return static_cast<int>(call.args().number(0, 0, STATUS_ALL));
    const std::string& word = call.args().quotedText(0);
    for (size_t i = 0; i < STATUS_WORDS.size(); ++i) {
        if (STATUS_WORDS[i] == word) return static_cast<int>(i);
    }
    throw cMalformed("unknown message status");
}

sReply listMessages(sCall& call) {
    const int wanted = wantedStatus(call);
    if (const int obstacle = simObstacleSms(call.state)) return answerCms(obstacle);
    sReply reply = answerOk();
    for (auto& entry : call.state.sms.slots) {
        sStoredSms& sms = entry.second;
        if (wanted != STATUS_ALL && wanted != sms.status) continue;
        appendMessage(call.state, "+CMGL: " + std::to_string(entry.first) + ",", sms, reply);
        if (sms.status == eSMS_UNREAD) sms.status = eSMS_READ;
    }
    return reply;
}

sReply readMessage(sCall& call) {
    call.args().expectCount(1, 1);
    const int index = static_cast<int>(call.args().number(0, 0, 255));
    if (const int obstacle = simObstacleSms(call.state)) return answerCms(obstacle);
    const auto found = call.state.sms.slots.find(index);
    if (found == call.state.sms.slots.end()) return answerCms(eCMS_INVALID_INDEX);
    sReply reply = answerOk();
    appendMessage(call.state, "+CMGR: ", found->second, reply);
    if (found->second.status == eSMS_UNREAD) found->second.status = eSMS_READ;
    return reply;
}

bool deletes(int64_t flag, eSmsStatus status) {
    switch (flag) {
        case 1:
            return status == eSMS_READ;
        case 2:
            return status == eSMS_READ || status == eSMS_SENT;
        case 3:
            return status != eSMS_UNREAD;
        default:
            return true;
    }
}

sReply deleteMessages(sCall& call) {
    call.args().expectCount(1, 2);
    const int index = static_cast<int>(call.args().number(0, 0, 255));
    const int64_t flag = call.args().numberOr(1, 0, 0, 4);
    if (const int obstacle = simObstacleSms(call.state)) return answerCms(obstacle);
    std::map<int, sStoredSms>& slots = call.state.sms.slots;
    if (flag == 0) return slots.erase(index) == 0 ? answerCms(eCMS_INVALID_INDEX) : answerOk();
    for (auto slot = slots.begin(); slot != slots.end();) {
        slot = deletes(flag, slot->second.status) ? slots.erase(slot) : std::next(slot);
    }
    return answerOk();
}

// The text of the message follows at the prompt.
sReply sendMessage(sCall& call) {
    sReply prompt;
    prompt.final = eFINAL_PROMPT;
    if (textMode(call.state)) {
        call.args().expectCount(1, 2);
        call.effects.promptNumber = call.args().quotedText(0);
        if (call.effects.promptNumber.empty()) throw cMalformed("no number");
    } else {
        call.args().expectCount(1, 1);
        call.effects.promptLength = static_cast<int>(call.args().number(0, 1, 164));
    }
    if (const int obstacle = simObstacleSms(call.state)) return answerCms(obstacle);
    return prompt;
}

const std::vector<std::string> CHARACTER_SETS = {"GSM", "IRA", "8859-1", "PCCP437", "UCS2", "HEX"};

sReply setCharacterSet(sCall& call) {
    call.args().expectCount(1, 1);
    const std::string& set = call.args().quotedText(0);
    for (const std::string& known : CHARACTER_SETS) {
        if (set != known) continue;
        call.state.sms.characterSet = set;
        return answerOk();
    }
    throw cMalformed("unknown character set");
}

sReply readCharacterSet(sCall& call) {
    return answerOk({"+CSCS: " + inQuotes(call.state.sms.characterSet)});
}

sReply testCharacterSet(sCall&) {
    std::vector<std::string> names;
    for (const std::string& name : CHARACTER_SETS)
        names.push_back(inQuotes(name));
    return answerOk({"+CSCS: (" + joined(names, ",") + ")"});
}

std::string memoryUse(const sModemState& state) {
    return std::to_string(state.sms.slots.size()) + "," + std::to_string(state.sms.capacity);
}

sReply setMemory(sCall& call) {
    call.args().expectCount(1, 3);
    for (size_t i = 0; i < call.args().count(); ++i) {
        const std::string& memory = call.args().quotedText(i);
        if (memory != "SM" && memory != "ME") throw cMalformed("unknown message memory");
    }
    const std::string use = memoryUse(call.state);
    return answerOk({"+CPMS: " + joined({use, use, use}, ",")});
}

sReply readMemory(sCall& call) {
    const std::string use = "\"SM\"," + memoryUse(call.state);
    return answerOk({"+CPMS: " + joined({use, use, use}, ",")});
}

// There is one memory. "ME" is another name of it, which is not offered: a program would read the
// same messages twice.
sReply testMemory(sCall&) {
    return answerOk({"+CPMS: (\"SM\"),(\"SM\"),(\"SM\")"});
}

sReply readServiceCentre(sCall& call) {
    const std::string& number = call.state.sms.serviceCentre;
    return answerOk({"+CSCA: " + inQuotes(number) + (startsWith(number, "+") ? ",145" : ",129")});
}

sReply setServiceCentre(sCall& call) {
    call.args().expectCount(1, 2);
    call.state.sms.serviceCentre = call.args().quotedText(0);
    return answerOk();
}

}  // namespace

const std::vector<sCommandRow>& smsCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"+CMGL", eFORM_SET, listMessages},       {"+CMGR", eFORM_SET, readMessage},
        {"+CMGD", eFORM_SET, deleteMessages},     {"+CMGS", eFORM_SET, sendMessage},
        {"+CSCS", eFORM_SET, setCharacterSet},    {"+CSCS", eFORM_READ, readCharacterSet},
        {"+CSCS", eFORM_TEST, testCharacterSet},  {"+CPMS", eFORM_TEST, testMemory},
        {"+CPMS", eFORM_SET, setMemory},          {"+CPMS", eFORM_READ, readMemory},
        {"+CSCA", eFORM_READ, readServiceCentre}, {"+CSCA", eFORM_SET, setServiceCentre},
    };
    return TABLE;
}

}  // namespace le910sim
