#ifndef CLI_DOCTOR_PORT_HOLDERS_H
#define CLI_DOCTOR_PORT_HOLDERS_H

#include <string>
#include <vector>

#include "cli/base/places.h"

// The processes that have a port open, in the order of their pids, without one that serves the
// port, such as the program at the other end of a pseudo-terminal. Root sees the open files of all
// users, others only their own.
std::vector<int> portHolders(const sPlaces& places, const std::string& device);

#endif
