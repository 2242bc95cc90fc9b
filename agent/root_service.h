#ifndef AGENT_ROOT_SERVICE_H
#define AGENT_ROOT_SERVICE_H

#include <string>

#include "agent/root_protocol.h"
#include "cli/base/places.h"

// What works as root for the agent, which has no rights: it reads the configuration itself and
// executes only what is listed there, whoever asks.

constexpr const char* CELLSLOT_PROGRAM = "/usr/bin/cellslot";

// program: the path of cellslot. request: a line without its end.
sRootAnswer answerRequest(const sPlaces& places, const std::string& program,
                          const std::string& request);

// Reads one request from standard input and answers it on standard output, for each connection.
int serveRequest(const sPlaces& places, const std::string& program);

#endif
