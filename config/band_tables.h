#ifndef CONFIG_BAND_TABLES_H
#define CONFIG_BAND_TABLES_H

#include <cstdint>
#include <map>
#include <string>

using tBandTable = std::map<std::string, int32_t>;

// UMTS band numbers of AT#BND, "0" to "7": bit n for number n.
extern const tBandTable g_M_3GBandBits;

// LTE bands "B1" to "B32": bit n - 1 for band n. B32 is the sign bit.
extern const tBandTable g_M_4GBandBits;

#endif
