#ifndef CLI_BASE_END_SIGNALS_H
#define CLI_BASE_END_SIGNALS_H

// For a service's poll loop: a descriptor that can be read once SIGTERM or SIGINT has come, by
// which a service manager or a terminal ends it. The process does not die of them any more. -1 with
// errno set on failure.
int openEndSignals();

#endif
