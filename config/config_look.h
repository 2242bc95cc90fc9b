#ifndef CONFIG_CONFIG_LOOK_H
#define CONFIG_CONFIG_LOOK_H

#include <optional>
#include <string>

#include "config/config_reader.h"

// The daemon's last read of its configuration file, published in configLookPath for the program
// that requested it with SIGUSR2, and for programs that may not read the file, which has a
// password.
struct sConfigLook {
    int pid = 0;         // of the daemon; 0 if nothing was published
    unsigned count = 0;  // reads since its start
    eConfigResult result = eCONFIG_MISSING;
    std::string file;
    // What was read: whether data is wanted (1 yes, 0 no, -1 modem off), and whether also abroad.
    // Not there if an older daemon published.
    std::optional<int> enableInterface;
    bool roamingAllowed = true;
};

// "missing", "unchanged" or "applied".
const char* configResultName(eConfigResult result);

// Replaces what was published. A failure is logged.
void publishConfigLook(const std::string& path, const sConfigLook& look);

// What was published last. pid is 0 if the file is missing or holds something else.
sConfigLook readConfigLook(const std::string& path);

#endif
