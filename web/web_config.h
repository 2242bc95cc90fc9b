#ifndef WEB_WEB_CONFIG_H
#define WEB_WEB_CONFIG_H

#include <string>
#include <vector>

#include "cli/base/places.h"

constexpr const char* WEB_CONFIG_FILE = "/etc/cellslot/web.conf";
constexpr const char* PASSWORD_FILE = "/etc/cellslot/web.password";

// What the operator allows.
struct sWebConfig {
    std::vector<std::string> hosts;  // names by which browsers may ask for the page, in lower case
    bool showsMessages = false;
};

// Lines of KEY=value; an empty line or one that begins with '#' is a comment. Throws cFailure that
// names the line and what is expected.
sWebConfig parseWebConfig(const std::string& text);

// A missing file gives the defaults. Throws cFailure.
sWebConfig readWebConfig(const sPlaces& places);

#endif
