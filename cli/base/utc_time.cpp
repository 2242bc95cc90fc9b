#include "cli/base/utc_time.h"

#include <cstdio>

namespace {

struct tm partsOf(time_t time) {
    struct tm parts {};
    gmtime_r(&time, &parts);
    return parts;
}

}  // namespace

std::string utcText(time_t time) {
    const struct tm parts = partsOf(time);
    char text[40];
    return {text, strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

std::string utcDayText(time_t time) {
    return utcText(time).substr(0, 10);
}

std::string utcMonthText(time_t time) {
    return utcText(time).substr(0, 7);
}

std::optional<time_t> parseUtcText(const std::string& text) {
    struct tm parts {};
    const char* end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &parts);
    if (!end || *end != '\0') return std::nullopt;
    const time_t time = timegm(&parts);
    // Neither blanks, a 31 February nor a leap second.
    if (!isPlausibleTime(time) || utcText(time) != text) return std::nullopt;
    return time;
}
