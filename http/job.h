#ifndef HTTP_JOB_H
#define HTTP_JOB_H

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <string>

// What takes longer than the readers of the stream may wait: it is done by a process, or comes from
// a socket, while the server goes on.

struct sHttpAnswer;

// Each kind has a queue of its own: one that hangs holds up only its own kind.
enum class eJobKind { HISTORY, MESSAGES, PASSWORD };
constexpr size_t JOB_KINDS = 3;

// What was started. With neither a process nor an output nothing was; error says why.
struct sWork {
    pid_t process = -1;
    int output = -1;  // read to its end, non-blocking
    size_t outputMax = 0;
    std::string error;
};

struct sJobResult {
    bool isStarted = false;
    bool isComplete = false;  // ended by itself, in time, and printed no more than allowed
    int exitStatus = 0;       // of the process; -1 if a signal ended it
    std::string output;
    std::string error;  // if not complete: why
};

struct sJob {
    eJobKind kind;
    std::string key;  // requests that wait for a job with the same key share it
    // nowS: seconds of a monotonic clock.
    std::function<sWork(long long nowS)> start;
    // The answer to this request; it may need a further job.
    std::function<sHttpAnswer(const sJobResult& result, long long nowS)> finish;
};

#endif
