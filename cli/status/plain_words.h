#ifndef CLI_STATUS_PLAIN_WORDS_H
#define CLI_STATUS_PLAIN_WORDS_H

#include <string>

#include "cli/status/status_file.h"

// What a result of the daemon means to people, and what they can do about it.
struct sPlainWords {
    std::string what;
    std::string mend;  // empty where nothing is to be done
};

// LAST_CONNECT_ERROR: why the data session failed to start last. Words for every number; one that
// is not known is told by the daemon's own name for it.
sPlainWords connectErrorWords(const sStatusRecord& record);

// GPS_LAST_STATUS: the state of the GPS stream.
sPlainWords gpsWords(const sStatusRecord& record);
// Whether the last step of starting or stopping it failed.
bool isGpsFault(const sStatusRecord& record);

#endif
