#ifndef PUBLISHED_DATA_OVERRIDE_H
#define PUBLISHED_DATA_OVERRIDE_H

#include <string>

#include "include/config_options.h"
#include "published/slot.h"

// Files that override what the configuration says about a slot's data. Only their existence counts;
// AUTO without one.
enum class eDataOverride { AUTO, ON, OFF, POWER_OFF };

constexpr const char* OVERRIDE_ON_NAME = "force_cell_con";
constexpr const char* OVERRIDE_OFF_NAME = "force_cell_nocon";
constexpr const char* OVERRIDE_POWER_OFF_NAME = "force_cell_tempoff";

// The file in SHARED_FOLDER, or in another folder; "" for AUTO.
std::string overrideFilePath(eDataOverride value, const cSlotText& slot);
std::string overrideFileIn(const std::string& folder, eDataOverride value, const cSlotText& slot);

// The first that exists counts: on, off, power-off. A dangling link does not exist.
eDataOverride findOverride(const std::string& folder, const cSlotText& slot);

// The result of the override and the configuration's switch (1 yes, 0 no, -1 modem off).
eCfgDataStatus wantedData(eDataOverride value, int enableInterface);

// Whether data must wait while the host boots (host_boot.h); the directive is then
// eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM.
bool waitsForBoot(eCfgDataStatus wanted);

#endif
