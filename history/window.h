#ifndef HISTORY_WINDOW_H
#define HISTORY_WINDOW_H

#include <array>
#include <ctime>
#include <map>
#include <optional>
#include <string>

#include "history/usage.h"
#include "observed/reading.h"
#include "observed/source.h"

// What is known of ten seconds. It is a sum, so that windows can be added.
constexpr time_t WINDOW_S = 10;

struct sWindow {
    struct sSum {
        double sum = 0;         // value times seconds; of an amount, the amount
        long long seconds = 0;  // in which the value was known
    };

    time_t end = 0;
    std::array<sSum, SOURCES> sums;
    std::map<std::string, sUsage> usage;  // by SIM

    // These values held for these seconds.
    void hold(const sReading& reading, long long seconds);
    void add(const sWindow& other);
    // The value of the window as it is stored; NaN if nothing is known.
    double value(eSource source) const;

    sSum& sumOf(eSource source) { return sums[static_cast<size_t>(source)]; }
};

// The end of the window to which a second belongs.
inline time_t windowEnd(time_t second) {
    return second / WINDOW_S * WINDOW_S + WINDOW_S;
}

// One line of text, and back. Nothing if the text is not such a line.
std::string windowLine(const sWindow& window);
std::optional<sWindow> parseWindowLine(const std::string& line);

#endif
