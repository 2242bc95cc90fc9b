#include "cli/base/slot_option.h"

#include "cli/base/daemon_process.h"
#include "cli/base/failure.h"
#include "cli/base/slot_name.h"

void addSlotOption(CLI::App& command, int& slot, const std::string& help) {
    command.add_option("-p,--port", slot, help)
        ->check(CLI::Range(FIRST_SLOT, LAST_SLOT).description(""))
        ->type_name("1-3");
}

int chooseSlot(const sPlaces& places, int given) {
    if (given != SLOT_NOT_GIVEN) return given;
    const std::vector<int> slots = runningSlots(places);
    if (slots.size() > 1)
        throw cFailure(eExitStatus::USAGE,
                       "daemons are running for " + slotNames(slots) + "; select one with -p");
    return slots.empty() ? FIRST_SLOT : slots.front();
}
