#ifndef WEB_LIVE_STATUS_H
#define WEB_LIVE_STATUS_H

#include <string>
#include <vector>

#include "cli/status/slot_report.h"
#include "http/stream_source.h"

// What the readers of the stream of live values get, as server-sent events. All readers share one
// text. A reader that is slow misses what has been replaced meanwhile.
//   event: status   the whole status in one line, as GET /api/status; when something has changed
//   event: age      {"slots":[{"slot":1,"age_seconds":1,"seconds":75}]}; when only time has passed
class cLiveStatus : public cStreamSource {
  public:
    // A new look at the slots. The age is sent when a daemon has written its status again.
    void update(const std::vector<sSlotReport>& reports);

    tMessage next(sPosition& position) const override;
    bool hasNext(const sPosition& position) const override;

  private:
    std::string m_compared;  // the status without what changes with time alone
    std::string m_ages;
    tMessage m_status;
    tMessage m_age;
    sPosition m_now;
};

#endif
