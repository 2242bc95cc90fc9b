#ifndef HTTP_LISTENERS_H
#define HTTP_LISTENERS_H

#include <string>
#include <vector>

// A socket that browsers connect to.
struct sListener {
    int socket = -1;
    bool isLocal = false;  // only this host can reach it: plain HTTP without a password
    std::string name;      // "127.0.0.1:8080", for messages
};

// The sockets that the service manager passes (the variables LISTEN_PID and LISTEN_FDS, which it
// removes from the environment). Throws cFailure if one is not a listening socket.
std::vector<sListener> passedListeners();

// Listens at "127.0.0.1:8080" or "[::1]:8080". Throws cFailure.
sListener listenAt(const std::string& address);

#endif
