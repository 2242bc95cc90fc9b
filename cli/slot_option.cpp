#include "cli/slot_option.h"

#include "cli/daemon_process.h"
#include "cli/failure.h"
#include "cli/no_daemon.h"

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
                       "daemons of " + slotNames(slots) + " run; say with -p which one is meant");
    return slots.empty() ? FIRST_SLOT : slots.front();
}

int requireDaemon(const sPlaces& places, int slot) {
    const int pid = runningDaemon(places, slot);
    if (pid != 0) return pid;
    throw noDaemon(reportSlot(places, slot, currentMoment()));
}

std::string slotName(int slot) {
    return "slot " + std::to_string(slot);
}

std::string slotNames(const std::vector<int>& slots) {
    std::string names = slots.size() == 1 ? "slot " : "slots ";
    for (const int slot : slots)
        names += (slot == slots.front() ? "" : ", ") + std::to_string(slot);
    return names;
}
