#ifndef HTTP_SERVER_H
#define HTTP_SERVER_H

#include <functional>
#include <string>
#include <vector>

#include "http/connections.h"
#include "http/listeners.h"
#include "http/site.h"

// What the server needs; nothing of it changes while it runs.
struct sServerSetup {
    std::vector<sListener> listeners;
    // For listeners that other hosts can reach.
    std::string certificate;
    std::string key;
    std::string passwordHash;
    std::string certificateHint;  // how the operator gives them, for messages
    std::string passwordHint;
    int sendBuffer = cConnections::SEND_BUFFER;  // of each connection
    // A job is stopped after this time.
    long long patienceS = 0;
    long long idleS = 0;  // ends after this time without a client; 0: never
    // Waits until the descriptor can be read, at most so long, beside what else the program does;
    // not set: nothing else.
    std::function<void(int descriptor, int milliseconds)> wait;
};

// Serves until SIGTERM or SIGINT, or until nobody has asked for idleS. One thread does everything.
// Throws cFailure if it cannot start.
void runServer(cSite& site, const sServerSetup& setup);

#endif
