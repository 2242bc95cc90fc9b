#ifndef CLI_STATUS_STATUS_FILE_H
#define CLI_STATUS_STATUS_FILE_H

#include <map>
#include <optional>
#include <string>

#include "cli/base/places.h"
#include "published/paths.h"
#include "published/status_keys.h"

// What a daemon published, by key without "CELLMODEMn_". A missing key reads as empty text and as
// no number; a text that is not a number also reads as no number.
struct sStatusRecord {
    std::map<std::string, std::string> values;

    std::string text(const sStatusKey& key) const;
    bool isSet(const sStatusKey& key) const;  // of a key that is on or off
    std::optional<long long> number(const sStatusKey& key) const;
    std::optional<double> decimal(const sStatusKey& key) const;
};

enum class eStatusFile {
    GOOD,
    MISSING,        // no daemon has published anything since its last end
    NOT_PERMITTED,  // the caller may not read it
    UNREADABLE,     // a link, a folder, a FIFO, or an error of the disk
    CUT_SHORT,      // the last keys are missing
    DAMAGED,        // not what a daemon writes
};

struct sStatusFile {
    eStatusFile state = eStatusFile::MISSING;
    std::string defect;    // what is wrong; follows the name of the file
    sStatusRecord record;  // empty unless GOOD
};

// Parses the text of a slot's status file. Accepts only a complete text: every line is a comment or
// a key of this slot, no key appears twice, no byte is a control character, and the last key is
// there. Keeps bytes above 127 as they are.
sStatusFile parseStatus(const std::string& text, int slot);

// The status file of a slot. Follows no link and never blocks.
sStatusFile readStatusFile(const sPlaces& places, int slot);

#endif
