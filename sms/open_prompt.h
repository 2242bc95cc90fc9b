#ifndef SMS_OPEN_PROMPT_H
#define SMS_OPEN_PROMPT_H

#include <string>

#include "include/result_codes.h"

// At a prompt, of AT+CMGS or of an operator's own command, the modem takes all input as text and
// answers nothing. A daemon that is killed there would leave a modem that ignores the next daemon.
// So a marker file is in the spool's root from the command until its prompt is certainly gone.

// Call these around a transaction that has, or may have, a prompt.
void markPrompt();
void unmarkPrompt();

// Sends ESC, which ends a prompt without sending the text. Without a prompt the modem does not
// answer.
ePortReturn abortPrompt(int port);

// Looks in the spool for the marker of an earlier process.
void findPrompt(const std::string& root);

// Ends a prompt that an earlier process may have left open; otherwise sends nothing.
void endLeftPrompt(int port);

#endif
