#ifndef CLI_DOCTOR_SLOT_SETUP_H
#define CLI_DOCTOR_SLOT_SETUP_H

#include <string>
#include <vector>

#include "cli/base/places.h"

// How the daemon of a slot is, or would be, started. What is not known is empty.
struct sSlotSetup {
    int slot = 0;
    int pid = 0;  // of the living daemon, 0 when none runs
    std::string device;
    std::string gpsDevice;
    std::string interface;
    std::string path;  // the folders in which it looks for host tools, separated by colons
};

// From the living daemon; without one from the service's settings in /etc/default.
sSlotSetup findSlotSetup(const sPlaces& places, int slot);

// Those of findSlots and those whose service is enabled or has its modem's port; slot 1 when there
// is none.
std::vector<int> knownSlots(const sPlaces& places);

// Pids of the living processes that were started as cellslotd for the slot.
std::vector<int> daemonsOf(const sPlaces& places, int slot);

// The numbers of all processes.
std::vector<int> allPids(const sPlaces& places);

// "ModemManager", "" when the process is gone.
std::string processName(const sPlaces& places, int pid);

// Where a tool is found on the path; "" when it is not there or cannot be run.
std::string findOnPath(const sPlaces& places, const std::string& path, const std::string& tool);

#endif
