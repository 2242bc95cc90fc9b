#ifndef CLI_STATUS_PLAIN_WORDS_H
#define CLI_STATUS_PLAIN_WORDS_H

#include <string>

#include "cli/status/status_file.h"

// A result of the daemon in plain words, and what to do about it.
struct sPlainWords {
    std::string what;
    std::string mend;  // empty if there is nothing to do
};

// LAST_CONNECT_ERROR: why the last start of the data session failed. An unknown number is shown
// with the daemon's own name for it.
sPlainWords connectErrorWords(const sStatusRecord& record);

// GPS_LAST_STATUS: the state of the GPS stream.
sPlainWords gpsWords(const sStatusRecord& record);
// Whether the last start or stop of the stream failed.
bool isGpsFault(const sStatusRecord& record);

#endif
