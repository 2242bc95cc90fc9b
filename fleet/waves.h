#ifndef FLEET_WAVES_H
#define FLEET_WAVES_H

#include <set>
#include <string>
#include <vector>

// Who is asked when: so many gateways at a time, the next ones after all of these have answered,
// and none any more after too many failures. Knows no time and no broker.
class cWaves {
  public:
    // size: at least 1. stopOn: failures after which nobody else is asked; 0: never.
    cWaves(std::vector<std::string> targets, size_t size, size_t stopOn);

    // Those who are to be asked now; empty while answers are missing, and at the end.
    std::vector<std::string> next();
    // Its last word, or none in time. Only the first one counts.
    void finish(const std::string& gateway, bool isSuccess);
    // Nobody else is asked.
    void stop() { m_isStopped = true; }

    bool isOver() const { return m_out.empty() && (m_isStopped || m_asked == m_targets.size()); }
    bool isStopped() const { return m_isStopped; }
    size_t succeeded() const { return m_succeeded; }
    size_t failed() const { return m_failed; }
    size_t total() const { return m_targets.size(); }
    const std::set<std::string>& out() const { return m_out; }  // asked, without an answer
    std::vector<std::string> notAsked() const;

  private:
    const std::vector<std::string> m_targets;
    const size_t m_size;
    const size_t m_stopOn;
    size_t m_asked = 0;
    size_t m_succeeded = 0;
    size_t m_failed = 0;
    bool m_isStopped = false;
    std::set<std::string> m_out;
};

#endif
