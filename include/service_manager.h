#ifndef INCLUDE_SERVICE_MANAGER_H
#define INCLUDE_SERVICE_MANAGER_H

#include <string>

// Messages to the service manager that started the daemon: datagrams of the sd_notify protocol to
// the socket in NOTIFY_SOCKET, with heartbeats if WATCHDOG_USEC requests them. Without these
// variables the functions do nothing. They never wait: if the service manager's queue is full, the
// message is lost.

// Reads the variables and removes them from the environment, so that no program that the daemon
// runs can send messages in its name. Without this call the rest does nothing.
void connectServiceManager();

void notifyReady();
void notifyStopping();

// One line about the current state; only a change is sent.
void notifyStatus(const std::string& line);

// A heartbeat, at most one per second. Call it wherever the daemon makes progress or has a reason
// to wait.
void notifyAlive();

#endif
