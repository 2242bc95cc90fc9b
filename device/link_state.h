#ifndef DEVICE_LINK_STATE_H
#define DEVICE_LINK_STATE_H

#include <cstdint>
#include <string>

#include "include/result_codes.h"

// Whether commands and answers on an open port are in step. A command that ended without a final
// code is owed its answer. If that answer came late, it would be taken for the answer to the next
// command, and so on with each command after it. Late input is dropped only while an answer is
// owed: unsolicited lines do not put the link out of step and must not cost anything.

// How long to wait for a late answer, from the end of its transaction.
constexpr uint64_t LATE_ANSWER_MS = 1000;

// If this is in the environment, with any value, the wait for a response is only 20 microseconds.
constexpr const char* TEST_POLL_VARIABLE = "OVERRIDE_TEST_POLL_DELAY";
// Whether it is; the environment is searched once.
bool isTestPolling();

// Counts the final codes in input that comes in pieces.
class cFinalCodes {
  public:
    void add(const std::string& piece);
    int count() const { return m_count; }

  private:
    std::string m_line;
    int m_count = 0;
};

// Nothing is owed on this port: it was opened or closed, or the modem took the last command as
// data.
void forgetLink(int port);

// The last command got no answer, or the answer to another one.
void noteOwedAnswer(int port);

bool isAnswerOwed(int port);

// Whether there is nothing more to drop: all owed final codes have come, or the wait is over.
bool isLateInputOver(int port, int finalCodes);

// Late input with this number of final codes was dropped.
void noteDroppedAnswers(int port, int finalCodes);

// The echo that the answer to a command must begin with. Empty when any answer is accepted: nothing
// is owed, or the modem does not echo commands.
std::string requiredEcho(int port, const std::string& command);

// Takes note of a transaction. late: what was received before the required echo.
void noteAnswer(int port, const std::string& command, const std::string& response,
                const std::string& late, ePortReturn result);

// A final code came that no command had asked for.
void noteLateAnswer(int port);

// A text for an open prompt, or the ESC that ends the prompt. It is not a command of its own: its
// answer is the one that the command before it is owed.
bool isPromptText(const std::string& command);

// The modem shows its prompt "> " and waits for a text.
bool holdsPrompt(const std::string& response);

// For tests: as if no port had been opened yet.
void resetLinkState();

#endif
