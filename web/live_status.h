#ifndef WEB_LIVE_STATUS_H
#define WEB_LIVE_STATUS_H

#include <memory>
#include <string>
#include <vector>

#include "cli/status/slot_report.h"

// What the readers of the stream of live values get, as server-sent events. All readers share one
// text. A reader that is slow misses what has been replaced meanwhile, so nothing queues up.
//   event: status   the whole status in one line, as GET /api/status; when something has changed
//   event: age      {"slots":[{"slot":1,"age_seconds":1,"seconds":75}]}; when only time has passed
class cLiveStatus {
  public:
    using tMessage = std::shared_ptr<const std::string>;

    // A new look at the slots. The age is sent when a daemon has written its status again.
    void update(const std::vector<sSlotReport>& reports);

    // What a reader has got so far.
    struct sPosition {
        unsigned status = 0;
        unsigned age = 0;
    };
    // The next message for a reader, whose position moves on; nullptr if it has everything.
    tMessage next(sPosition& position) const;
    bool hasNext(const sPosition& position) const;

  private:
    std::string m_compared;  // the status without what changes with time alone
    std::string m_ages;
    tMessage m_status;
    tMessage m_age;
    sPosition m_now;
};

#endif
