#include <algorithm>

#include "le910sim/commands.h"
#include "le910sim/text.h"

namespace le910sim {

// The files of the SIM card, and commands that go to the card as they are.

namespace {

constexpr int READ_BINARY = 176;  // +CRSM, 3GPP TS 27.007 section 8.18
constexpr int FILE_LENGTH_MAX = 255;

// 3GPP TS 31.102 section 4.2, ETSI TS 102 221 section 13.2.
enum eSimFile {
    eFILE_ICCID = 0x2FE2,
    eFILE_SPN = 0x6F46,  // name of the service provider
    eFILE_AD = 0x6FAD,   // administrative data: length of the MNC
    eFILE_ECC = 0x6FB7,  // emergency call codes
};

// Two digits an octet, the first one in the lower half.
std::string swappedDigits(std::string digits) {
    if (digits.size() % 2 != 0) digits += 'F';
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        std::swap(digits[i], digits[i + 1]);
    return digits;
}

// The network that issued the card: that of the longest PLMN with which its IMSI begins.
const sOperator* homeOperator(const sModemState& state) {
    const sOperator* home = nullptr;
    for (const sOperator& entry : state.operatorNames) {
        const bool begins = startsWith(state.card().imsi, entry.plmn);
        if (begins && (home == nullptr || entry.plmn.size() > home->plmn.size())) home = &entry;
    }
    return home;
}

std::string serviceProvider(const sOperator* home) {
    constexpr size_t NAME_LENGTH = 16;
    const std::string name = home == nullptr ? "" : home->name.substr(0, NAME_LENGTH);
    std::vector<uint8_t> content(1 + NAME_LENGTH, 0xFF);
    content[0] = 0;  // the condition of its display
    std::copy(name.begin(), name.end(), content.begin() + 1);
    return toHex(content);
}

// The content in hex; empty if the card has no such file.
std::string fileContent(const sModemState& state, int64_t file) {
    const sOperator* home = homeOperator(state);
    switch (file) {
        case eFILE_ICCID:
            return swappedDigits(state.card().iccid);
        case eFILE_SPN:
            return serviceProvider(home);
        case eFILE_AD:
            return "000000" + padded(home == nullptr ? 2 : home->plmn.size() - 3, 2);
        case eFILE_ECC:
            return std::string(2 * 15, 'F');
        default:
            return "";
    }
}

sReply readFile(sCall& call) {
    call.args().expectCount(2, 5);
    const int64_t command = call.args().number(0, 0, 255);
    const int64_t file = call.args().number(1, 0, 0xFFFF);
    const int64_t start =
        256 * call.args().numberOr(2, 0, 0, 255) + call.args().numberOr(3, 0, 0, 255);
    const int64_t length = call.args().numberOr(4, 0, 0, FILE_LENGTH_MAX);
    if (const int obstacle = simObstacle(call.state)) return answerCme(obstacle);
    if (command != READ_BINARY) return answerOk({"+CRSM: 109,0"});  // unknown instruction
    const std::string content = fileContent(call.state, file);
    if (content.empty()) return answerOk({"+CRSM: 106,130"});  // file not found
    const auto size = static_cast<int64_t>(content.size()) / 2;
    if (start + length > size) return answerOk({"+CRSM: 103,0"});  // wrong length
    const int64_t wanted = length == 0 ? size - start : length;
    return answerOk({"+CRSM: 144,0," + inQuotes(content.substr(static_cast<size_t>(2 * start),
                                                               static_cast<size_t>(2 * wanted)))});
}

// VERIFY and RESET RETRY COUNTER without data give the attempts left as 63Cx; ETSI TS 102 221
// sections 11.1.9 and 11.1.10. Nothing else is simulated.
std::string cardAnswer(const sSimCard& card, const std::string& command) {
    const auto attempts = [](int left) { return toHex({0x63, static_cast<uint8_t>(0xC0 + left)}); };
    if (command == "0020000100") return attempts(card.pinAttempts);
    if (command == "002C000100") return attempts(card.pukAttempts);
    if (command == "0020008100") return attempts(PIN_ATTEMPTS_MAX);
    if (command == "002C008100") return attempts(PUK_ATTEMPTS_MAX);
    return "6D00";  // unknown instruction
}

// AT+CSIM=<length>,"<command>"; with one argument, 0 or 1, only the lock of the card's interface.
sReply passToCard(sCall& call) {
    call.args().expectCount(1, 2);
    if (call.args().count() == 1) {
        call.args().number(0, 0, 1);
        return answerOk();
    }
    const std::string command = stringUpper(call.args().text(1));
    const int64_t length = call.args().number(0, 1, 2 * FILE_LENGTH_MAX);
    if (length != static_cast<int64_t>(command.size())) throw cMalformed("not of that length");
    if (call.state.simState() == eCARD_MISSING) return answerCme(eCME_NO_SIM);
    const std::string answer = cardAnswer(call.state.card(), command);
    return answerOk({"+CSIM: " + std::to_string(answer.size()) + "," + inQuotes(answer)});
}

// The preferred networks; the card has none.
sReply setPreferredFormat(sCall& call) {
    call.args().expectCount(2, 2);
    if (call.args().given(0)) throw cMalformed("no preferred network can be stored");
    call.args().number(1, 0, 2);
    return answerOk();
}

sReply readPreferred(sCall& call) {
    if (const int obstacle = simObstacle(call.state)) return answerCme(obstacle);
    return answerOk();
}

}  // namespace

const std::vector<sCommandRow>& simFileCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"+CRSM", eFORM_SET, readFile},
        {"+CSIM", eFORM_SET, passToCard},
        {"+CPOL", eFORM_SET, setPreferredFormat},
        {"+CPOL", eFORM_READ, readPreferred},
    };
    return TABLE;
}

}  // namespace le910sim
