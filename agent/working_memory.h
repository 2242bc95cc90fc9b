#ifndef AGENT_WORKING_MEMORY_H
#define AGENT_WORKING_MEMORY_H

// Gives back the pages that only a set-up has needed: code and constants of this program and its
// libraries, which the system reads again if they are needed, and free heap. Setting up TLS touches
// megabytes of libcrypto that an idle connection never needs again.
void giveBackMemory();

#endif
