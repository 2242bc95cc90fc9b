#ifndef CLI_BASE_SLOT_OPTION_H
#define CLI_BASE_SLOT_OPTION_H

#include <string>

#include "cli/base/places.h"
#include "cli/base/subcommand.h"

constexpr int SLOT_NOT_GIVEN = 0;

// Adds -p, --port; slot has to begin as SLOT_NOT_GIVEN.
void addSlotOption(const cSubcommand& command, int& slot,
                   const std::string& help = "slot; needed only if several daemons run");

// The given slot; otherwise the only slot whose daemon runs; otherwise slot 1. Throws cFailure if
// several daemons run, because then there is no reason to prefer one.
int chooseSlot(const sPlaces& places, int given);

#endif
