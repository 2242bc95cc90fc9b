#ifndef WEB_SERVER_H
#define WEB_SERVER_H

#include <string>
#include <vector>

#include "cli/base/places.h"
#include "web/listeners.h"
#include "web/web_config.h"

// What the server needs; nothing of it changes while it runs.
struct sServerSetup {
    sPlaces places;
    sWebConfig config;
    std::string pageFolder;
    std::string historyProgram;
    std::vector<sListener> listeners;
    // For listeners that other hosts can reach.
    std::string certificate;
    std::string key;
    std::string passwordHash;
    // A program that reads the history, the messages or a password is stopped after this time.
    long long patienceS = 0;
    long long idleS = 0;  // ends after this time without a client; 0: never
};

// Serves until SIGTERM or SIGINT, or until nobody has asked for idleS. One thread does everything.
// Throws cFailure if it cannot start.
void runServer(const sServerSetup& setup);

#endif
