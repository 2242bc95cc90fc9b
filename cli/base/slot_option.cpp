#include "cli/base/slot_option.h"

#include "cli/base/daemon_process.h"
#include "cli/base/failure.h"
#include "cli/base/slot_name.h"

void addSlotOption(const cSubcommand& command, int& slot, const std::string& help) {
    command.option("-p,--port", slot, help, "1-3").range(FIRST_SLOT, LAST_SLOT);
}

int chooseSlot(const sPlaces& places, int given) {
    if (given != SLOT_NOT_GIVEN) return given;
    const std::vector<int> slots = runningSlots(places);
    if (slots.size() > 1)
        throw cFailure(eExitStatus::USAGE,
                       "daemons are running for " + slotNames(slots) + "; select one with -p");
    return slots.empty() ? FIRST_SLOT : slots.front();
}
