#include "tests/matrix/pool.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>

#include "le910sim/descriptor.h"

namespace {

using tClock = std::chrono::steady_clock;

constexpr size_t COMPLAINT_MAX = 6000;

struct sJob {
    const sCell* cell = nullptr;
    pid_t pid = -1;
    le910sim::cDescriptor result;
    le910sim::cDescriptor complaint;  // what it wrote to standard error
    std::string text;
    tClock::time_point deadline;
    bool tooLong = false;
};

void writeAll(int fd, const std::string& text) {
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = write(fd, text.data() + done, text.size() - done);
        if (count <= 0) return;
        done += static_cast<size_t>(count);
    }
}

[[noreturn]] void runInChild(const sCell& cell, int result, int complaint) {
    dup2(complaint, STDERR_FILENO);
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDIN_FILENO);
    // Closes the descriptors of the other cells, because descriptors are counted.
    constexpr int RESULT = 3;
    dup2(result, RESULT);
    close_range(RESULT + 1, ~0U, 0);
    sOutcome outcome;
    try {
        outcome = runCell(cell);
    } catch (const std::exception& problem) {
        outcome.failures.push_back(std::string("the test itself: ") + problem.what());
    }
    writeAll(RESULT, toJson(outcome).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace));
    _exit(0);
}

sJob startJob(const sCell& cell, unsigned limitS) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    sJob job;
    job.cell = &cell;
    job.result = le910sim::cDescriptor(ends[0]);
    le910sim::cDescriptor childEnd(ends[1]);
    job.complaint = le910sim::cDescriptor(memfd_create("complaint", MFD_CLOEXEC));
    job.deadline = tClock::now() + std::chrono::seconds(limitS);
    job.pid = fork();
    if (job.pid < 0) throw std::runtime_error("no process");
    if (job.pid == 0) runInChild(cell, childEnd.get(), job.complaint.get());
    return job;
}

std::string complaintOf(const sJob& job) {
    std::string text(COMPLAINT_MAX, '\0');
    const ssize_t count = pread(job.complaint.get(), text.data(), text.size(), 0);
    text.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return text;
}

sOutcome finishJob(const sJob& job) {
    int status = 0;
    waitpid(job.pid, &status, 0);
    sOutcome outcome;
    if (!job.tooLong && WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        const auto json = nlohmann::json::parse(job.text, nullptr, false);
        if (!json.is_discarded()) return outcomeFromJson(json);
    }
    if (job.tooLong)
        outcome.failures.push_back("hangs: stopped after its time on the clock of the host");
    else if (WIFSIGNALED(status))
        outcome.failures.push_back("ended by signal " + std::to_string(WTERMSIG(status)));
    else
        outcome.failures.push_back("ended with " + std::to_string(WEXITSTATUS(status)) +
                                   " before the day was over");
    outcome.transcript = complaintOf(job);
    return outcome;
}

// False when nothing more can come.
bool readFrom(sJob& job) {
    char piece[65536];
    const ssize_t count = read(job.result.get(), piece, sizeof piece);
    if (count <= 0) return false;
    job.text.append(piece, static_cast<size_t>(count));
    return true;
}

void stopLate(std::vector<sJob>& running) {
    for (sJob& job : running) {
        if (job.tooLong || tClock::now() < job.deadline) continue;
        job.tooLong = true;
        kill(job.pid, SIGKILL);
    }
}

}  // namespace

void runCells(const std::vector<sCell>& cells, int jobs, unsigned limitS,
              const std::function<void(const sCell&, const sOutcome&)>& done) {
    std::vector<sJob> running;
    size_t next = 0;
    while (next < cells.size() || !running.empty()) {
        while (next < cells.size() && running.size() < static_cast<size_t>(jobs))
            running.push_back(startJob(cells[next++], limitS));
        std::vector<pollfd> waiting;
        waiting.reserve(running.size());
        for (const sJob& job : running)
            waiting.push_back({job.result.get(), POLLIN, 0});
        poll(waiting.data(), waiting.size(), 200);
        stopLate(running);
        for (size_t i = waiting.size(); i-- > 0;) {
            if (waiting[i].revents == 0 || readFrom(running[i])) continue;
            done(*running[i].cell, finishJob(running[i]));
            running.erase(running.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
}
