#ifndef AGENT_CHANGE_WATCH_H
#define AGENT_CHANGE_WATCH_H

#include <string>

#include "agent/outcome.h"
#include "agent/slot_watch.h"
#include "cli/base/places.h"
#include "mqtt/command.h"

// The agent's part in a configuration change: once the daemon has read the new file and has set its
// modem up, it makes a new connection to the broker. The old one may only seem to be there.
class cChangeWatch {
  public:
    enum class eNeed {
        NOTHING,
        SAY_STARTED,  // the new file is in force
        RENEW,        // a new connection
        CONFIRM,      // the broker has answered over it
        END           // outcome() is there
    };

    // report: of the slot that is changed. runS: seconds since the start of the host.
    eNeed look(const sPlaces& places, const sCommand& command, const sSlotReport& report,
               long long runS);
    const sOutcome& outcome() const { return m_outcome; }

    void noteStarted() { m_isSaid = true; }
    void noteRenewed() { m_line = eLine::RENEWED; }
    void noteUp();
    void noteAnswered();  // the broker has taken something
    // The service that works as root has been asked; it may have to be asked again.
    void noteConfirmed(bool isTaken) { m_isConfirmed = isTaken; }

  private:
    enum class eLine { OLD, RENEWED, UP, PROVEN };

    std::string m_id;
    bool m_isSaid = false;
    eLine m_line = eLine::OLD;
    bool m_isConfirmed = false;
    sOutcome m_outcome;
};

#endif
