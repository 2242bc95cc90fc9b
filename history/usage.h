#ifndef HISTORY_USAGE_H
#define HISTORY_USAGE_H

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <utility>
#include <vector>

// What one SIM used, counted exactly.
struct sUsage {
    uint64_t receivedBytes = 0;
    uint64_t sentBytes = 0;
    uint64_t receivedMessages = 0;
    uint64_t sentMessages = 0;
    uint64_t failedMessages = 0;
    uint64_t connectedS = 0;
    uint64_t knownS = 0;  // seconds in which the state was known

    void add(const sUsage& other);
};

// The usage of a period by one SIM.
struct sUsageLine {
    std::string period;  // "2026-11-21" or "2026-11", in UTC
    std::string sim;     // its ICCID; empty: it was not known
    sUsage usage;
};

#endif
