#ifndef CLI_BASE_UTC_TIME_H
#define CLI_BASE_UTC_TIME_H

#include <ctime>
#include <optional>
#include <string>

// A host without a battery starts its clock long before this: its time is not known yet.
constexpr time_t EARLIEST_TIME = 1577836800;    // 2020
constexpr time_t LATEST_TIME = 253402300799LL;  // 9999
inline bool isTimeKnown(time_t time) {
    return time >= EARLIEST_TIME && time <= LATEST_TIME;
}
// Of a text: within what can be shown.
inline bool isPlausibleTime(time_t time) {
    return time >= 0 && time <= LATEST_TIME;
}

std::string utcText(time_t time);       // "2026-11-21T07:42:18Z", as RFC 3339
std::string utcDayText(time_t time);    // "2026-11-21"
std::string utcMonthText(time_t time);  // "2026-11"

// Only what utcText makes.
std::optional<time_t> parseUtcText(const std::string& text);

#endif
