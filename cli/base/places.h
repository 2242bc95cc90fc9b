#ifndef CLI_BASE_PLACES_H
#define CLI_BASE_PLACES_H

#include <unistd.h>

#include <string>

// Where the daemon's files are. Only tests change it.
struct sPlaces {
    std::string root;  // put before every path; "" on a real host

    std::string at(const std::string& absolutePath) const { return root + absolutePath; }
    // Whether there is anything; a link that leads nowhere is nothing.
    bool have(const std::string& absolutePath) const {
        return access(at(absolutePath).c_str(), F_OK) == 0;
    }
};

#endif
