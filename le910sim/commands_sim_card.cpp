#include "le910sim/commands.h"
#include "le910sim/text.h"

namespace le910sim {

// The SIM card: presence, PIN and PUK, numbers, the two slots.

namespace {

void requirePin(const std::string& pin) {
    if (!isStringNumeric(pin) || pin.size() < 4 || pin.size() > 8) {
        throw cMalformed("a PIN has 4 to 8 digits");
    }
}

void requirePuk(const std::string& puk) {
    if (!isStringNumeric(puk) || puk.size() != 8) throw cMalformed("a PUK has 8 digits");
}

// Counts an attempt with a PIN; 0 if it was right, else the error to answer.
int tryPin(sSimCard& card, const std::string& pin) {
    if (card.pinAttempts <= 0) return eCME_PUK_REQUIRED;
    if (pin == card.pin) {
        card.pinAttempts = PIN_ATTEMPTS_MAX;
        return 0;
    }
    --card.pinAttempts;
    if (card.pinAttempts > 0) return eCME_WRONG_PASSWORD;
    card.verified = false;
    return eCME_PUK_REQUIRED;
}

sReply readPresence(sCall& call) {
    const eCardState card = call.state.simState();
    const int64_t mode = call.state.setting("#QSS");
    int status = card == eCARD_MISSING ? 0 : 1;
    if (mode == 2 && card == eCARD_READY) status = 3;
    return answerOk({"#QSS: " + std::to_string(mode) + "," + std::to_string(status)});
}

sReply readPinState(sCall& call) {
    const eCardState card = call.state.simState();
    if (card == eCARD_MISSING) return answerCme(eCME_NO_SIM);
    if (!call.state.card().cpinText.empty()) {
        return answerOk({"+CPIN: " + call.state.card().cpinText});
    }
    switch (card) {
        case eCARD_READY:
            return answerOk({"+CPIN: READY"});
        case eCARD_PIN:
            return answerOk({"+CPIN: SIM PIN"});
        case eCARD_PUK:
            return answerOk({"+CPIN: SIM PUK"});
        case eCARD_BLOCKED:
        case eCARD_MISSING:
            break;
    }
    return answerCme(eCME_SIM_FAILURE);
}

sReply readAttempts(sCall& call) {
    const eCardState card = call.state.simState();
    if (card == eCARD_MISSING) return answerCme(eCME_NO_SIM);
    const std::string& text = call.state.card().pctText;
    if (text == "none") return answerOk();
    if (!text.empty()) return answerOk({"#PCT: " + text});
    const bool puk = card == eCARD_PUK || card == eCARD_BLOCKED;
    const int left = puk ? call.state.card().pukAttempts : call.state.card().pinAttempts;
    return answerOk({"#PCT: " + std::to_string(left)});
}

sReply unlockWithPin(sCall& call) {
    sSimCard& card = call.state.card();
    const int failure = tryPin(card, call.args().text(0));
    if (failure != 0) return answerCme(failure);
    card.verified = true;
    return answerOk();
}

sReply unlockWithPuk(sCall& call) {
    sSimCard& card = call.state.card();
    const std::string& puk = call.args().text(0);
    if (puk != card.puk) {
        --card.pukAttempts;
        return answerCme(card.pukAttempts > 0 ? eCME_WRONG_PASSWORD : eCME_SIM_FAILURE);
    }
    card.pin = call.args().text(1);
    card.pinAttempts = PIN_ATTEMPTS_MAX;
    card.pukAttempts = PUK_ATTEMPTS_MAX;
    card.verified = true;
    return answerOk();
}

sReply enterPin(sCall& call) {
    call.args().expectCount(1, 2);
    const bool puk = call.args().count() == 2;
    requirePin(call.args().text(puk ? 1 : 0));
    if (puk) requirePuk(call.args().text(0));
    const eCardState card = call.state.simState();
    if (card == eCARD_PIN && !puk) return unlockWithPin(call);
    if (card == eCARD_PUK && puk) return unlockWithPuk(call);
    return answerCme(card == eCARD_READY || card == eCARD_PIN ? eCME_NOT_ALLOWED
                                                              : simObstacle(call.state));
}

sReply lockFacility(sCall& call) {
    call.args().expectCount(2, 3);
    if (call.args().quotedText(0) != "SC") throw cMalformed("only the facility \"SC\"");
    const int64_t mode = call.args().number(1, 0, 2);
    const eCardState state = call.state.simState();
    sSimCard& card = call.state.card();
    if (state == eCARD_MISSING || state == eCARD_BLOCKED) return answerCme(simObstacle(call.state));
    if (mode == 2) {
        call.args().expectCount(2, 2);
        return answerOk({std::string("+CLCK: ") + (card.lock ? "1" : "0")});
    }
    const std::string pin = call.args().quotedText(2);
    requirePin(pin);
    if (state != eCARD_READY) return answerCme(simObstacle(call.state));
    if (const int failure = tryPin(card, pin)) return answerCme(failure);
    card.lock = mode == 1;
    card.verified = true;
    return answerOk();
}

sReply testFacilities(sCall&) {
    return answerOk({"+CLCK: (\"SC\")"});
}

sReply changePin(sCall& call) {
    call.args().expectCount(3, 3);
    if (call.args().quotedText(0) != "SC") throw cMalformed("only the facility \"SC\"");
    requirePin(call.args().text(1));
    requirePin(call.args().text(2));
    if (const int obstacle = simObstacle(call.state)) return answerCme(obstacle);
    sSimCard& card = call.state.card();
    if (!card.lock) return answerCme(eCME_NOT_ALLOWED);
    if (const int failure = tryPin(card, call.args().text(1))) return answerCme(failure);
    card.pin = call.args().text(2);
    return answerOk();
}

sReply imsi(sCall& call) {
    if (const int obstacle = simObstacle(call.state)) return answerCme(obstacle);
    return answerOk({call.state.card().imsi});
}

// The card's number can be read without the PIN.
sReply cardNumber(sCall& call) {
    if (call.state.simState() == eCARD_MISSING) return answerCme(eCME_NO_SIM);
    return answerOk({call.command.name + ": " + call.state.card().iccid});
}

// AT#GPIO=pin,2 reads a pin, AT#GPIO=pin,value,direction[,save] drives it.
sReply gpio(sCall& call) {
    call.args().expectCount(2, 4);
    const auto index = static_cast<size_t>(call.args().number(0, 1, GPIO_PIN_MAX));
    const int64_t mode = call.args().number(1, 0, 2);
    sGpioPin& pin = call.state.gpio[index];
    if (mode == 2) {
        call.args().expectCount(2, 2);
        return answerOk(
            {"#GPIO: " + std::to_string(pin.direction) + "," + std::to_string(pin.value)});
    }
    pin.direction = static_cast<int>(call.args().number(2, 0, 2));
    pin.value = static_cast<int>(mode);
    call.args().numberOr(3, 0, 0, 1);
    return answerOk();
}

// The modem reads the slot that its slot pin selects only when it detects a card again.
sReply detectSim(sCall& call) {
    call.args().expectCount(1, 1);
    const int64_t mode = call.args().number(0, 0, 2);
    sModemState& state = call.state;
    const bool wasOut = state.simForcedOut;
    state.simDetect = static_cast<int>(mode);
    state.simForcedOut = mode == 0;
    if (mode == 0 || !wasOut) return answerOk();
    state.activeSlot = state.gpio[SIM_SLOT_PIN].value == 1 ? 1 : 2;
    state.card().verified = false;
    return answerOk();
}

sReply readSimDetect(sCall& call) {
    const bool present = call.state.simState() != eCARD_MISSING;
    return answerOk(
        {"#SIMDET: " + std::to_string(call.state.simDetect) + "," + (present ? "1" : "0")});
}

}  // namespace

const std::vector<sCommandRow>& simCardCommands() {
    static const std::vector<sCommandRow> TABLE = {
        {"#QSS", eFORM_READ, readPresence},   {"+CPIN", eFORM_READ, readPinState},
        {"+CPIN", eFORM_SET, enterPin},       {"#PCT", eFORM_EXECUTE, readAttempts},
        {"+CLCK", eFORM_SET, lockFacility},   {"+CLCK", eFORM_TEST, testFacilities},
        {"+CPWD", eFORM_SET, changePin},      {"+CIMI", eFORM_EXECUTE, imsi},
        {"+CCID", eFORM_READ, cardNumber},    {"+CCID", eFORM_EXECUTE, cardNumber},
        {"#CCID", eFORM_EXECUTE, cardNumber}, {"#GPIO", eFORM_SET, gpio},
        {"#SIMDET", eFORM_SET, detectSim},    {"#SIMDET", eFORM_READ, readSimDetect},
    };
    return TABLE;
}

}  // namespace le910sim
