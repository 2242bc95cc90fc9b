#ifndef CLI_DOCTOR_PORT_HOLDERS_H
#define CLI_DOCTOR_PORT_HOLDERS_H

#include <string>
#include <vector>

#include "cli/base/places.h"

// The processes that have a port open, in the order of their numbers. A process that serves the
// port, as the program at the other end of a pseudo-terminal does, is none of them. Root sees the
// open files of everybody, others only their own.
std::vector<int> portHolders(const sPlaces& places, const std::string& device);

#endif
