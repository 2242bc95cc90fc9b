#ifndef PUBLISHED_STORE_KEYS_H
#define PUBLISHED_STORE_KEYS_H

#include <string>

#include "published/slot.h"

// Keys of the key-value store besides those of the status, for values that survive the daemon. Each
// key is the slot's prefix and a name.
std::string slotStoreKey(const cSlotText& slot, const std::string& name);

constexpr const char* STORE_PIN_TRIED = "_CPIN_TRIED";
constexpr const char* STORE_GPS_ENABLE_COUNT = "_GPS_ENABLE_COUNT";
constexpr const char* STORE_GPS_ENABLE = "_GPS_ENABLE";
constexpr const char* STORE_GPS_CHIPSET = "_GPS_CHIPSET";
constexpr const char* STORE_GPS_STREAM = "_GPS_STREAM";

// Factory test mode of the host, set by its maker: with a number above 0 the daemon does not use
// the modem.
constexpr const char* STORE_TEST_MODE = "FC_TESTMODE";

#endif
