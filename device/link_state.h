#ifndef DEVICE_LINK_STATE_H
#define DEVICE_LINK_STATE_H

#include <cstdint>
#include <string>

#include "include/result_codes.h"

// Whether commands and answers on an open port are in step. A command that ended without a final
// code is owed its answer, and a late one would be taken for the answer to the next command, which
// leaves its own to the one after it. Only while an answer is owed is late input dropped: what a
// modem says unasked is no sign of being out of step and must not cost anything.

// How long a late answer is waited for, from the end of its transaction.
constexpr uint64_t LATE_ANSWER_MS = 1000;

// Where it is in the environment, with any value, a response is waited for 20 microseconds only.
constexpr const char* TEST_POLL_VARIABLE = "OVERRIDE_TEST_POLL_DELAY";

// Counts the final codes in what comes in pieces.
class cFinalCodes {
  public:
    void add(const std::string& piece);
    int count() const { return m_count; }

  private:
    std::string m_line;
    int m_count = 0;
};

// Nothing is owed there: the port was opened or closed, or took the last command for data.
void forgetLink(int port);

// The last command got no answer, or that to another.
void noteOwedAnswer(int port);

bool isAnswerOwed(int port);

// Whether there is nothing more to drop: as many final codes have come as are owed, or a late
// answer has been waited for long enough.
bool isLateInputOver(int port, int finalCodes);

// Late input was dropped, with so many final codes in it.
void noteDroppedAnswers(int port, int finalCodes);

// The echo that the answer to a command has to begin with. Empty where any answer is taken: nothing
// is owed, or the modem repeats no commands.
std::string requiredEcho(int port, const std::string& command);

// What a transaction has shown. late: what was received before the required echo.
void noteAnswer(int port, const std::string& command, const std::string& response,
                const std::string& late, ePortReturn result);

// A final code was read that no command had asked for.
void noteLateAnswer(int port);

// A text for an open prompt, or the ESC that ends it: not a command of its own, and the answer to
// it is the one that the command before it is owed.
bool isPromptText(const std::string& command);

// The modem shows its prompt "> " and waits for a text.
bool holdsPrompt(const std::string& response);

// For tests: as if no port had been opened yet.
void resetLinkState();

#endif
