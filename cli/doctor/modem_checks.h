#ifndef CLI_DOCTOR_MODEM_CHECKS_H
#define CLI_DOCTOR_MODEM_CHECKS_H

#include <string>

#include "cli/doctor/doctor_checks.h"

// Habits of some modems and networks with which the daemon cannot work, and what mends them.

// What the modem has to be asked, as one request of custom AT commands, and how long the answer may
// take. context: the data context in use, anything but a small number is 1.
std::string modemQuestions(const std::string& context);
constexpr unsigned MODEM_QUESTIONS_S = 8;

// What its answer shows.
tFindings judgeModemAnswer(const std::string& answer, const sSlotSetup& setup);

// Asks the slot's modem. A modem that cannot be asked is a finding, too.
tFindings askAboutModem(const sPlaces& places, const sSlotSetup& setup);

#endif
