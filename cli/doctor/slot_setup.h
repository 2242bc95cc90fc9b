#ifndef CLI_DOCTOR_SLOT_SETUP_H
#define CLI_DOCTOR_SLOT_SETUP_H

#include <string>
#include <vector>

#include "cli/base/places.h"

// How the daemon of a slot is, or would be, started. Unknown values are empty.
struct sSlotSetup {
    int slot = 0;
    int pid = 0;  // of the running daemon; 0 if none runs
    std::string device;
    std::string gpsDevice;
    std::string interface;
    std::string path;  // the folders in which it looks for host tools, separated by colons
};

// From the running daemon, otherwise from the service's settings in /etc/default.
sSlotSetup findSlotSetup(const sPlaces& places, int slot);

// The slots of findSlots, and those whose service is enabled or whose modem's port exists; slot 1
// if there is none.
std::vector<int> knownSlots(const sPlaces& places);

// Pids of the running processes that were started as cellslotd for the slot.
std::vector<int> daemonsOf(const sPlaces& places, int slot);

// The pids of all processes.
std::vector<int> allPids(const sPlaces& places);

// "ModemManager"; "" if the process is gone.
std::string processName(const sPlaces& places, int pid);

// The first place of a tool on the path; "" if there is none, or it cannot be run.
std::string findOnPath(const sPlaces& places, const std::string& path, const std::string& tool);

#endif
