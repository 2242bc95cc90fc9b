#include "cli/base/slot_name.h"

std::string slotName(int slot) {
    return "slot " + std::to_string(slot);
}

std::string slotNames(const std::vector<int>& slots) {
    std::string names = slots.size() == 1 ? "slot " : "slots ";
    for (const int slot : slots)
        names += (slot == slots.front() ? "" : ", ") + std::to_string(slot);
    return names;
}
