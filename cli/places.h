#ifndef CLI_PLACES_H
#define CLI_PLACES_H

#include <string>

// Where the daemon's files are. Only tests change it.
struct sPlaces {
    std::string root;  // put before every path; "" on a real host

    std::string at(const std::string& absolutePath) const { return root + absolutePath; }
};

#endif
