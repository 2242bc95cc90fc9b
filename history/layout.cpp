#include "history/layout.h"

#include <algorithm>

#include "platform/include/text_helpers.h"

namespace {

constexpr unsigned MINUTE_S = 60;
constexpr unsigned QUARTER_S = 15 * MINUTE_S;
constexpr unsigned DAY_S = 24 * 60 * MINUTE_S;
constexpr unsigned TWO_MONTHS = 60;
constexpr unsigned THREE_YEARS = 3 * 365;

// clang-format off
constexpr sArchive TEN_SECONDS = {eConsolidation::AVERAGE, 10,        DAY_S / 10};
constexpr sArchive MINUTES     = {eConsolidation::AVERAGE, MINUTE_S,  8 * DAY_S / MINUTE_S};
constexpr sArchive QUARTERS    = {eConsolidation::AVERAGE, QUARTER_S, TWO_MONTHS * DAY_S / QUARTER_S};
constexpr sArchive DAYS        = {eConsolidation::AVERAGE, DAY_S,     THREE_YEARS};
constexpr sArchive LEAST       = {eConsolidation::MIN,     DAY_S,     THREE_YEARS};
constexpr sArchive GREATEST    = {eConsolidation::MAX,     DAY_S,     THREE_YEARS};
// clang-format on

}  // namespace

const std::vector<sStore> STORES = {
    {".rrd",
     10,
     {eSource::RSRP, eSource::RSRQ, eSource::RSSI, eSource::RSCP, eSource::ECIO, eSource::CONNECTED,
      eSource::RECEIVED, eSource::SENT},
     {TEN_SECONDS, MINUTES, QUARTERS, DAYS, LEAST, GREATEST}},
    {"-slow.rrd",
     QUARTER_S,
     {eSource::TEMPERATURE, eSource::REGISTERED, eSource::MESSAGES},
     {QUARTERS, DAYS, LEAST, GREATEST}},
};

std::string storeName(const sStore& store, int slot) {
    return itos(slot) + store.suffix;
}

const sStore& storeOf(eSource source) {
    for (const sStore& store : STORES)
        if (placeOf(store, source) < store.sources.size()) return store;
    return STORES.front();
}

size_t placeOf(const sStore& store, eSource source) {
    const auto found = std::find(store.sources.begin(), store.sources.end(), source);
    return static_cast<size_t>(found - store.sources.begin());
}

const char* consolidationName(eConsolidation function) {
    switch (function) {
        case eConsolidation::AVERAGE:
            break;
        case eConsolidation::MIN:
            return "MIN";
        case eConsolidation::MAX:
            return "MAX";
    }
    return "AVERAGE";
}
