#ifndef CONFIG_CONFIG_LOOK_H
#define CONFIG_CONFIG_LOOK_H

#include <string>

#include "config/config_reader.h"

// A daemon's last look at its configuration file, published in configLookPath for whoever
// asked for it with SIGUSR2.
struct sConfigLook {
    int pid = 0;         // of the daemon; 0 when nothing was published
    unsigned count = 0;  // looks since it was started
    eConfigResult result = eCONFIG_MISSING;
    std::string file;
};

// Replaces what was published. A failure is in the log.
void publishConfigLook(const std::string& path, const sConfigLook& look);

// What was published last. Without it, or with something else in its place, pid is 0.
sConfigLook readConfigLook(const std::string& path);

#endif
