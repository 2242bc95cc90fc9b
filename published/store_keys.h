#ifndef PUBLISHED_STORE_KEYS_H
#define PUBLISHED_STORE_KEYS_H

#include <string>

#include "published/slot.h"

// Keys of the key-value store beside those of the status: what outlives the daemon. Each is the
// slot's beginning and a name.
std::string slotStoreKey(const cSlotText& slot, const std::string& name);

constexpr const char* STORE_PIN_TRIED = "_CPIN_TRIED";
constexpr const char* STORE_GPS_ENABLE_COUNT = "_GPS_ENABLE_COUNT";
constexpr const char* STORE_GPS_ENABLE = "_GPS_ENABLE";
constexpr const char* STORE_GPS_CHIPSET = "_GPS_CHIPSET";
constexpr const char* STORE_GPS_STREAM = "_GPS_STREAM";

// Of the host, set by its maker: a number above 0 has the daemon leave the modem alone.
constexpr const char* STORE_TEST_MODE = "FC_TESTMODE";

#endif
