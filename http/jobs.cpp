#include "http/jobs.h"

#include <sys/epoll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "cli/base/system_failure.h"

namespace {

constexpr size_t PIECE = 4096;

// The C library's own declaration cannot be used from C++ in Debian 12.
int openProcess(pid_t process) {
    return static_cast<int>(syscall(SYS_pidfd_open, process, 0));
}

// Collects the status of a process that has ended. False if it still runs.
bool hasEnded(pid_t process, int& exitStatus) {
    int status = 0;
    const pid_t ended = waitpid(process, &status, WNOHANG);
    if (ended == 0) return false;
    exitStatus = ended == process && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return true;
}

}  // namespace

cJobs::cJobs(long long patienceS) : m_patienceS(patienceS), m_poll(epoll_create1(EPOLL_CLOEXEC)) {
    if (m_poll < 0) throw systemFailure("watch programs", errno);
}

cJobs::~cJobs() {
    // Who waits may be gone already: nobody is called.
    for (const sQueue& queue : m_queues)
        if (queue.running) stop(*queue.running, "was stopped");
    close(m_poll);
}

void cJobs::watch(int descriptor) const {
    epoll_event event{};
    event.events = EPOLLIN;
    // Without it the end is noticed at the next look, within a second.
    if (descriptor >= 0) epoll_ctl(m_poll, EPOLL_CTL_ADD, descriptor, &event);
}

void cJobs::forget(int& descriptor) const {
    if (descriptor < 0) return;
    // A process that was forked may still hold it, so closing alone would not end the watch.
    epoll_ctl(m_poll, EPOLL_CTL_DEL, descriptor, nullptr);
    close(descriptor);
    descriptor = -1;
}

bool cJobs::add(const sJob& job, const tDone& done) {
    sQueue& queue = m_queues[static_cast<size_t>(job.kind)];
    const auto isSame = [&](const auto& entry) { return entry->key == job.key; };
    const auto same = std::find_if(queue.waiting.begin(), queue.waiting.end(), isSame);
    if (m_isEnding) return false;
    if (queue.running && isSame(queue.running)) {
        queue.running->waiting.push_back(done);
    } else if (same != queue.waiting.end()) {
        (*same)->waiting.push_back(done);
    } else {
        if (queue.waiting.size() + (queue.running ? 1 : 0) > WAITING_MAX) return false;
        queue.waiting.push_back(std::make_unique<sEntry>());
        queue.waiting.back()->key = job.key;
        queue.waiting.back()->start = job.start;
        queue.waiting.back()->waiting.push_back(done);
    }
    return true;
}

void cJobs::startNext(sQueue& queue, long long nowS) {
    queue.running = std::move(queue.waiting.front());
    queue.waiting.pop_front();
    sEntry& entry = *queue.running;
    entry.work = entry.start(nowS);
    entry.endS = nowS + m_patienceS;
    entry.result.error = entry.work.error;
    entry.result.isStarted = entry.work.process > 0 || entry.work.output >= 0;
    if (entry.work.process > 0) entry.processEnd = openProcess(entry.work.process);
    watch(entry.processEnd);
    watch(entry.work.output);
}

// Closes the output at its end.
void cJobs::readOutput(sEntry& entry) const {
    std::array<char, PIECE> piece{};
    while (entry.work.output >= 0 && entry.result.output.size() <= entry.work.outputMax) {
        const ssize_t count = read(entry.work.output, piece.data(), piece.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0 && errno == EAGAIN) return;
        if (count < 0) entry.result.error = strerror(errno);
        if (count <= 0) return forget(entry.work.output);
        entry.result.output.append(piece.data(), static_cast<size_t>(count));
    }
}

void cJobs::stop(sEntry& entry, const std::string& why) {
    forget(entry.work.output);
    forget(entry.processEnd);
    entry.result.error = why;
    if (entry.work.process <= 0) return;
    kill(entry.work.process, SIGKILL);
    // It ends only when the kernel lets it, for example after a slow write.
    m_killed.push_back(entry.work.process);
    entry.work.process = -1;
}

bool cJobs::isEnded(sEntry& entry, long long nowS) {
    if (!entry.result.isStarted) return true;
    // First: what it printed before its end is there then.
    const bool hasExited =
        entry.work.process > 0 && hasEnded(entry.work.process, entry.result.exitStatus);
    if (hasExited) {
        entry.work.process = -1;
        forget(entry.processEnd);
    }
    readOutput(entry);
    if (entry.result.output.size() > entry.work.outputMax) {
        stop(entry, "printed too much");
        return true;
    }
    // A child of the process may hold the output open for longer.
    if (hasExited) forget(entry.work.output);
    if (entry.work.process <= 0 && entry.work.output < 0) {
        entry.result.isComplete = entry.result.error.empty();
        return true;
    }
    if (nowS < entry.endS) return false;
    stop(entry, "did not end in time");
    return true;
}

void cJobs::report(std::unique_ptr<sEntry> entry, long long nowS) {
    for (const tDone& done : entry->waiting)
        done(entry->result, nowS);
}

void cJobs::collectKilled() {
    const auto isGone = [](pid_t process) {
        int exitStatus = 0;
        return hasEnded(process, exitStatus);
    };
    m_killed.erase(std::remove_if(m_killed.begin(), m_killed.end(), isGone), m_killed.end());
}

void cJobs::run(long long nowS) {
    collectKilled();
    for (sQueue& queue : m_queues) {
        while (queue.running || !queue.waiting.empty()) {
            if (!queue.running) startNext(queue, nowS);
            if (!isEnded(*queue.running, nowS)) break;
            report(std::move(queue.running), nowS);
        }
    }
}

void cJobs::end(long long nowS) {
    m_isEnding = true;
    for (sQueue& queue : m_queues) {
        if (queue.running) {
            stop(*queue.running, "was stopped");
            report(std::move(queue.running), nowS);
        }
        for (; !queue.waiting.empty(); queue.waiting.pop_front()) {
            queue.waiting.front()->result.error = "was not started";
            report(std::move(queue.waiting.front()), nowS);
        }
    }
}
