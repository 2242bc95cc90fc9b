#ifndef CLI_BASE_SLOT_NAME_H
#define CLI_BASE_SLOT_NAME_H

#include <string>
#include <vector>

// "slot 1"
std::string slotName(int slot);
// "slots 1, 3"
std::string slotNames(const std::vector<int>& slots);

#endif
