#ifndef CLI_AT_AT_REQUEST_H
#define CLI_AT_AT_REQUEST_H

#include <sys/stat.h>

#include <string>

#include "cli/base/places.h"
#include "published/at_request.h"

// AT commands through the daemon of one slot: a request file in /tmp, where every user may write,
// and an answer file next to it. The names contain the slot, so no other daemon takes the request.

constexpr unsigned AT_TIMEOUT_MIN_S = 1;
constexpr unsigned AT_TIMEOUT_MAX_S = AT_TIMEOUT_MIN_S + AT_EXTRA_TIMEOUT_MAX_S;

// The request for a command whose answer may take timeoutS. Throws cFailure if the command does not
// begin with AT, is too long, or contains what the request format cannot carry.
std::string atRequest(const std::string& command, unsigned timeoutS);

// A request that waits for the daemon. The destructor withdraws it if it is still waiting.
class cAtRequest {
  public:
    // daemonUser: the owner of a genuine answer; other files are ignored. Throws cFailure if
    // another request is waiting.
    cAtRequest(const sPlaces& places, int slot, const std::string& request, uid_t daemonUser);
    ~cAtRequest();
    cAtRequest(const cAtRequest&) = delete;
    cAtRequest& operator=(const cAtRequest&) = delete;

    // Whether the daemon has taken it.
    bool isTaken() const;
    // Whether the answer has arrived; answer then holds what the modem sent.
    bool readAnswer(std::string& answer) const;

  private:
    std::string m_requestPath;
    std::string m_answerPath;
    uid_t m_daemonUser;
    struct stat m_request {};
    struct stat m_oldAnswer {};  // all 0 when there was none
};

// Passes a request to the slot's daemon and waits for the modem's answer; answerS: how long the
// commands may take. Throws cFailure if no daemon runs or no answer comes.
std::string askModem(const sPlaces& places, int slot, const std::string& request, unsigned answerS);

enum class eAtResult { OK, ERROR, TIMEOUT };

// The lines of an answer without the echo of the command and without empty lines, safe for a
// terminal.
std::string atOutput(const std::string& answer, const std::string& command);
eAtResult atResult(const std::string& answer);

#endif
