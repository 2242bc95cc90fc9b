#ifndef SMS_OPEN_PROMPT_H
#define SMS_OPEN_PROMPT_H

#include <string>

#include "include/result_codes.h"

// At the prompt of AT+CMGS, and of what else an operator sends, a modem takes all that comes for
// text, without end and without an answer. A daemon that was killed there would leave it deaf to
// the next one, so a marker file stands in the spool's root from the command until its prompt is
// surely gone.

// Around a transaction with a prompt, or with one that may have a prompt.
void markPrompt();
void unmarkPrompt();

// ESC, which ends a prompt unsent; without one the modem answers nothing.
ePortReturn abortPrompt(int port);

// Looks for what an earlier process left in the spool.
void findPrompt(const std::string& root);

// Ends a prompt that may have been left open; sends nothing otherwise.
void endLeftPrompt(int port);

#endif
