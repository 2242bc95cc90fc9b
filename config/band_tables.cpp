#include "config/band_tables.h"

namespace {

constexpr int LAST_3G_NUMBER = 7;
constexpr int LAST_4G_BAND = 32;

int32_t bit(int number) {
    return static_cast<int32_t>(uint32_t{1} << number);
}

tBandTable make3gTable() {
    tBandTable table;
    for (int number = 0; number <= LAST_3G_NUMBER; ++number) {
        table[std::to_string(number)] = bit(number);
    }
    return table;
}

tBandTable make4gTable() {
    tBandTable table;
    for (int band = 1; band <= LAST_4G_BAND; ++band) {
        table["B" + std::to_string(band)] = bit(band - 1);
    }
    return table;
}

}  // namespace

const tBandTable g_M_3GBandBits = make3gTable();
const tBandTable g_M_4GBandBits = make4gTable();
