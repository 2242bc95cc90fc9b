#ifndef TESTS_SUPPORT_DAEMON_RESET_H
#define TESTS_SUPPORT_DAEMON_RESET_H

// Resets what the daemon keeps between calls, as in a process that has just started.
void resetDaemon();

#endif
