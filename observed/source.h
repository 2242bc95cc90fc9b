#ifndef OBSERVED_SOURCE_H
#define OBSERVED_SOURCE_H

#include <cstddef>
#include <optional>
#include <string>

// What is kept of a slot over time. The names are those of the data sources in the RRD files, and
// of the values in JSON and CSV.
enum class eSource {
    RSRP,
    RSRQ,
    RSSI,
    RSCP,
    ECIO,
    CONNECTED,
    RECEIVED,
    SENT,
    TEMPERATURE,
    REGISTERED,
    MESSAGES,
};
constexpr size_t SOURCES = 11;

enum class eSourceKind {
    GAUGE,   // a measurement
    SHARE,   // the share of the time, 0 to 1
    AMOUNT,  // an amount per second; over a time it sums up to what was counted
};

struct sSource {
    eSource source;
    const char* name;   // "rsrp"
    const char* words;  // "RSRP"
    const char* unit;   // "dBm"; of an amount, that of the sum
    eSourceKind kind;
    double least;  // a value outside is not stored
    double greatest;
};

// Every source, indexed by eSource.
extern const sSource SOURCE_TABLE[SOURCES];
inline const sSource& describe(eSource source) {
    return SOURCE_TABLE[static_cast<size_t>(source)];
}
std::optional<eSource> sourceNamed(const std::string& name);

#endif
