#include "observed/utc_time.h"

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
