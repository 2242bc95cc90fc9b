#ifndef CLI_BASE_PLACES_H
#define CLI_BASE_PLACES_H

#include <unistd.h>

#include <string>

// The root of the daemon's files. Only tests change it.
struct sPlaces {
    std::string root;  // put before every path; "" on a real host

    std::string at(const std::string& absolutePath) const { return root + absolutePath; }
    // Whether the path exists; a dangling link does not.
    bool have(const std::string& absolutePath) const {
        return access(at(absolutePath).c_str(), F_OK) == 0;
    }
};

#endif
