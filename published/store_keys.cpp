#include "published/store_keys.h"

std::string slotStoreKey(const cSlotText& slot, const std::string& name) {
    return "CELLULAR_SLOT" + slot.text() + name;
}
