#ifndef HTTP_JOBS_H
#define HTTP_JOBS_H

#include <array>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "http/job.h"

// Runs jobs, one of each kind at a time. Never waits. Seconds are those of a monotonic clock.
class cJobs {
  public:
    static constexpr size_t WAITING_MAX = 8;  // jobs of a kind, beside the one that runs

    using tDone = std::function<void(const sJobResult& result, long long nowS)>;

    // patienceS: a job that takes longer is stopped.
    explicit cJobs(long long patienceS);
    ~cJobs();
    cJobs(const cJobs&) = delete;
    cJobs& operator=(const cJobs&) = delete;

    // Can be read (epoll) when run has something to do. Limits of time need run once a second too.
    int descriptor() const { return m_poll; }

    // done is called by a later run or end. False if too many wait already, or the end has come.
    bool add(const sJob& job, const tDone& done);

    // Starts what can be started, and reports what has ended.
    void run(long long nowS);

    // Ends what runs; everybody who waits gets a result that is not complete.
    void end(long long nowS);

  private:
    struct sEntry {
        std::string key;
        std::function<sWork(long long)> start;
        std::vector<tDone> waiting;
        sWork work;
        sJobResult result;
        int processEnd = -1;  // can be read when the process has ended
        long long endS = 0;   // by then it has to be complete
    };
    struct sQueue {
        std::unique_ptr<sEntry> running;
        std::deque<std::unique_ptr<sEntry>> waiting;
    };

    void watch(int descriptor) const;
    void forget(int& descriptor) const;
    void startNext(sQueue& queue, long long nowS);
    bool isEnded(sEntry& entry, long long nowS);
    void readOutput(sEntry& entry) const;
    void stop(sEntry& entry, const std::string& why);
    void collectKilled();
    static void report(std::unique_ptr<sEntry> entry, long long nowS);

    std::array<sQueue, JOB_KINDS> m_queues;
    std::vector<pid_t> m_killed;
    const long long m_patienceS;
    int m_poll;
    bool m_isEnding = false;
};

#endif
