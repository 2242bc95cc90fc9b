#ifndef CLI_AT_AT_REQUEST_H
#define CLI_AT_AT_REQUEST_H

#include <sys/stat.h>

#include <string>

#include "cli/base/places.h"
#include "published/at_request.h"

// AT commands through the daemon of one slot: a request file in /tmp, which everybody may write to,
// answered by a file beside it. Their names carry the slot, so no other slot's daemon takes it.

constexpr unsigned AT_TIMEOUT_MIN_S = 1;
constexpr unsigned AT_TIMEOUT_MAX_S = AT_TIMEOUT_MIN_S + AT_EXTRA_TIMEOUT_MAX_S;

// The request of a command that may take timeoutS for its answer. Throws cFailure for a command
// that does not begin with AT, is too long, or could not be sent as it stands.
std::string atRequest(const std::string& command, unsigned timeoutS);

// A request that waits for the daemon. It is taken back when it is still waiting at the end.
class cAtRequest {
  public:
    // daemonUser: who writes the answer; a file of anybody else is none. Throws cFailure when
    // another request is waiting.
    cAtRequest(const sPlaces& places, int slot, const std::string& request, uid_t daemonUser);
    ~cAtRequest();
    cAtRequest(const cAtRequest&) = delete;
    cAtRequest& operator=(const cAtRequest&) = delete;

    // Whether the daemon has taken it up.
    bool isTaken() const;
    // Whether the answer is there; answer then has what the modem sent.
    bool readAnswer(std::string& answer) const;

  private:
    std::string m_requestPath;
    std::string m_answerPath;
    uid_t m_daemonUser;
    struct stat m_request {};
    struct stat m_oldAnswer {};  // all 0 when there was none
};

// Hands a request to the slot's daemon and waits for what the modem sends; answerS: how long its
// commands may take. Throws cFailure without a daemon or an answer.
std::string askModem(const sPlaces& places, int slot, const std::string& request, unsigned answerS);

enum class eAtResult { OK, ERROR, TIMEOUT };

// The lines of an answer without the echo of the command and without empty ones, as they may be
// shown on a terminal.
std::string atOutput(const std::string& answer, const std::string& command);
eAtResult atResult(const std::string& answer);

#endif
