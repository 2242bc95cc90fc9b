#ifndef LE910SIM_COMMANDS_H
#define LE910SIM_COMMANDS_H

#include <string>
#include <utility>
#include <vector>

#include "le910sim/command_line.h"
#include "le910sim/modem_state.h"

namespace le910sim {

enum eFinalCode {
    eFINAL_OK,
    eFINAL_ERROR,
    eFINAL_CME,
    eFINAL_CMS,
    eFINAL_CONNECT,         // CONNECT alone
    eFINAL_CONNECT_AND_OK,  // CONNECT, then OK
    eFINAL_PROMPT,          // "> "
    eFINAL_NO_CARRIER,      // a data call ended or could not be made
};

// The answer to a command: information lines and a final code.
struct sReply {
    std::vector<std::string> lines;
    eFinalCode final = eFINAL_OK;
    int number = 0;  // of eFINAL_CME and eFINAL_CMS
};

inline sReply answerOk(std::vector<std::string> lines = {}) {
    return {std::move(lines), eFINAL_OK, 0};
}
inline sReply answerError() {
    return {{}, eFINAL_ERROR, 0};
}
inline sReply answerCme(int number) {
    return {{}, eFINAL_CME, number};
}
inline sReply answerCms(int number) {
    return {{}, eFINAL_CMS, number};
}

// 3GPP TS 27.007 section 9.2 and the modem maker's own numbers.
enum eCmeNumber {
    eCME_NOT_ALLOWED = 3,
    eCME_NOT_SUPPORTED = 4,
    eCME_NO_SIM = 10,
    eCME_PIN_REQUIRED = 11,
    eCME_PUK_REQUIRED = 12,
    eCME_SIM_FAILURE = 13,
    eCME_WRONG_PASSWORD = 16,
    eCME_INVALID_INDEX = 21,
    eCME_NO_SERVICE = 30,
    eCME_WRONG_PARAMETERS = 50,
    eCME_GPRS_NOT_ALLOWED = 107,
    eCME_GPRS_ERROR = 148,
    eCME_ACTIVATION_FAILED = 555,
    eCME_NOT_OPENED = 556,
};

// 3GPP TS 27.005 section 3.2.5.
enum eCmsNumber {
    eCMS_NOT_ALLOWED = 302,
    eCMS_PDU_PARAMETER = 304,
    eCMS_TEXT_PARAMETER = 305,
    eCMS_NO_SIM = 310,
    eCMS_PIN_REQUIRED = 311,
    eCMS_SIM_FAILURE = 313,
    eCMS_PUK_REQUIRED = 316,
    eCMS_INVALID_INDEX = 321,
    eCMS_NO_SERVICE = 331,
};

// Settings of one of the two ports, not of the modem.
struct sPortProfile {
    bool echo = true;
    int cmee = 0;
    std::vector<int64_t> nmea = {0, 0, 0, 0, 0, 0, 0};  // $GPSNMUN
};

// Effects of a command besides its answer.
struct sEffects {
    uint64_t waitMs = 0;  // before the next command of the line, and before the final code
    bool restart = false;
    bool streamNmea = false;
    bool dataCall = false;
    int promptLength = -1;     // octets announced by +CMGS in PDU mode
    std::string promptNumber;  // number given to +CMGS in text mode
};

struct sCall {
    sModemState& state;
    const sCommand& command;
    sPortProfile& profile;
    sEffects& effects;

    const cArguments& args() const { return command.args; }
};

using tHandler = sReply (*)(sCall& call);

struct sCommandRow {
    const char* name;
    eCommandForm form;
    tHandler handler;
};

const std::vector<sCommandRow>& basicCommands();
const std::vector<sCommandRow>& identityCommands();
const std::vector<sCommandRow>& simCardCommands();
const std::vector<sCommandRow>& simFileCommands();
const std::vector<sCommandRow>& registrationCommands();
const std::vector<sCommandRow>& radioCommands();
const std::vector<sCommandRow>& packetCommands();
const std::vector<sCommandRow>& callCommands();
const std::vector<sCommandRow>& smsCommands();
const std::vector<sCommandRow>& gpsCommands();

// Runs one command. Throws cMalformed.
sReply runCommand(sCall& call);

// The text of a CME number, 3GPP TS 27.007 section 9.2.
std::string cmeText(int number);

// Activates a context of an attached modem: 0 if it is up, else the CME number to answer.
int bringUpContext(sModemState& state, int id);

// The CME or CMS number that a command answers while the SIM is not usable, 0 if it is usable.
int simObstacle(const sModemState& state);
int simObstacleSms(const sModemState& state);

}  // namespace le910sim

#endif
