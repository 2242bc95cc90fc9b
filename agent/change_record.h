#ifndef AGENT_CHANGE_RECORD_H
#define AGENT_CHANGE_RECORD_H

#include <cstdint>
#include <optional>
#include <string>

#include "cli/base/places.h"

// A configuration change that is under way, on the disk: whoever is killed, and whenever the
// gateway loses power, the next start goes on from here. Root writes it; the agent reads it, and it
// holds no secret.

constexpr const char* CHANGE_FOLDER = "/var/lib/cellslot/agent-change";

enum class ePhase {
    PREPARED,   // both files are on the disk; the new one is not in its place yet, or just is
    APPLIED,    // it is in its place; the daemon is being asked to read it
    TAKEN,      // the daemon has; the agent has to come back
    REVERTING,  // it is decided: the old file is put back
};

struct sChangeRecord {
    std::string id;  // of the command
    int slot = 0;
    std::string path;           // of the configuration file
    int confirmS = 0;           // within which the agent has to be back
    bool wasConnected = false;  // the slot had a connection before
    ePhase phase = ePhase::PREPARED;
    std::string boot;      // the start of the host in which the time runs
    long long sinceS = 0;  // of that start, from which the time counts
    int boots = 0;         // starts of the host since the change has begun
    long long takenS = 0;  // TAKEN: since when; 0: since the start of the host
    std::string why;       // REVERTING
    // The inodes of both files: whether one is in its place, or gone.
    uint64_t newFile = 0;
    uint64_t oldFile = 0;
};

enum class eChangeEnd {
    CONFIRMED,
    ROLLED_BACK,
    NEW_FILE_STAYS,  // the old one is gone
};

struct sChangeOutcome {
    std::string id;
    eChangeEnd end = eChangeEnd::ROLLED_BACK;
    std::string text;
};

std::string newFilePath(const std::string& path);  // beside the file, for root alone
std::string oldFilePath(const std::string& path);

// Nothing if there is none. A damaged one reads as one without id and path.
std::optional<sChangeRecord> readChange(const sPlaces& places);
std::optional<sChangeOutcome> readChangeOutcome(const sPlaces& places);
// The id that the agent has confirmed last.
std::string readConfirmation(const sPlaces& places);

// These return when the disk has it. They throw cFailure.
void writeChange(const sPlaces& places, const sChangeRecord& record);
void writeChangeOutcome(const sPlaces& places, const sChangeOutcome& outcome);
void writeConfirmation(const sPlaces& places, const std::string& id);
void removeChange(const sPlaces& places);

#endif
