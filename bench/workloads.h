#ifndef BENCH_WORKLOADS_H
#define BENCH_WORKLOADS_H

#include <cstddef>
#include <functional>

// Workloads of the daemon on a gateway that is set up and connected. They use the daemon's real
// paths, so run them in scripts/private_namespace.sh, one at a time. The size of a workload is a
// number of lines, files or parts, according to its name.

struct sWorkload {
    std::function<void()> prepare;  // before each run, not measured
    std::function<void()> run;
};

// Brings the simulated modem up and connects. Call it once, before everything else.
void connectGateway();

// A whole bring-up: modem set-up, a poll, the start of a session.
sWorkload bringUp();
// One poll of a connected modem without messages and custom commands.
sWorkload poll();
// The same while all that passes on the port is recorded. Later workloads are recorded too.
sWorkload recordedPoll();
// A write of all status files and the store; only the time has changed since the last write.
sWorkload statusFiles();
// Four files of the same sizes replaced by the same system calls, and nothing else.
sWorkload fourFiles();
// The transaction that reads an operator list, which arrives in pieces of 64 bytes.
sWorkload readOperatorList(size_t lines);
// The parser of the list.
sWorkload parseOperatorList(size_t lines);
// The file that is written from the list.
sWorkload writeOperatorFile(size_t lines);
// Messages of three parts each, from the modem's memory (at most 255 parts) into joined files.
sWorkload receiveParts(size_t parts);
// A check of the parts that wait for the last part of their message.
sWorkload checkWaitingParts(size_t parts);
// Sends one message of a folder with this number of files.
sWorkload sendFromFolder(size_t files);
// A write to the store as the status writer does it: a hundred keys, of which two have changed.
sWorkload storeBatch();

// Other processes that write to the store until stopped.
class cStoreWriters {
  public:
    explicit cStoreWriters(size_t count);
    ~cStoreWriters();
    cStoreWriters(const cStoreWriters&) = delete;
    cStoreWriters& operator=(const cStoreWriters&) = delete;

  private:
    int m_stop = -1;  // closing it ends them
    size_t m_count;
};

size_t operatorListBytes(size_t lines);

#endif
