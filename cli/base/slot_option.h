#ifndef CLI_BASE_SLOT_OPTION_H
#define CLI_BASE_SLOT_OPTION_H

#include <CLI/CLI.hpp>
#include <string>

#include "cli/base/places.h"

constexpr int SLOT_NOT_GIVEN = 0;

// Adds -p, --port; slot has to begin as SLOT_NOT_GIVEN.
void addSlotOption(CLI::App& command, int& slot,
                   const std::string& help = "slot (only needed when several run)");

// The slot given, else the only one that has a living daemon, else slot 1. Throws cFailure when
// several have one: none of them is meant more than the others.
int chooseSlot(const sPlaces& places, int given);

#endif
