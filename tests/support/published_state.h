#ifndef TESTS_SUPPORT_PUBLISHED_STATE_H
#define TESTS_SUPPORT_PUBLISHED_STATE_H

#include <string>

// What the daemon of slot 1 has published: its status file and the messages of the spool, without
// what differs from run to run (times).
std::string publishedState();

#endif
