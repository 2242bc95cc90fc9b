#ifndef CLI_DOCTOR_MODEM_CHECKS_H
#define CLI_DOCTOR_MODEM_CHECKS_H

#include <string>

#include "cli/doctor/finding.h"

// Behaviour of some modems and networks that the daemon cannot work with, and how to fix it.

// What the status file shows of it; nothing without a daemon.
tFindings checkModemHabits(const sPlaces& places, const sSlotSetup& setup);

// The questions to the modem as one request of custom AT commands, and the time for the answer.
// context: the data context in use; anything but a small number counts as 1.
std::string modemQuestions(const std::string& context);
constexpr unsigned MODEM_QUESTIONS_S = 8;

// The findings in its answer.
tFindings judgeModemAnswer(const std::string& answer, const sSlotSetup& setup);

// Asks the slot's modem. A modem that cannot be asked is a finding too.
tFindings askAboutModem(const sPlaces& places, const sSlotSetup& setup);

#endif
