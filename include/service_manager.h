#ifndef INCLUDE_SERVICE_MANAGER_H
#define INCLUDE_SERVICE_MANAGER_H

#include <string>

// What the daemon tells the service manager that started it: datagrams of the sd_notify protocol to
// the socket that NOTIFY_SOCKET names, heartbeats where WATCHDOG_USEC asks for them. Without these
// variables everything here does nothing. Nothing here ever waits: a message that the service
// manager's queue has no room for is lost.

// Reads the variables, and removes them from the environment: what the daemon runs is not to speak
// for it. Without this call the rest does nothing.
void connectServiceManager();

void notifyReady();
void notifyStopping();

// One line about the present state; only a change is sent.
void notifyStatus(const std::string& line);

// A heartbeat, at most one a second: call it wherever the daemon makes progress or waits lawfully.
void notifyAlive();

#endif
