#include "agent/host_clock.h"

#include <cstdlib>

#include "platform/include/text_helpers.h"

namespace {

// Made by systemd-timesyncd, and by systemd-time-wait-sync for other services.
constexpr const char* SYNCHRONISED_FILE = "/run/systemd/timesync/synchronized";
constexpr const char* BATTERY_CLOCK = "/sys/class/rtc/rtc0/";
constexpr long long BATTERY_CLOCK_OFF_S = 60;
constexpr size_t NUMBER_MAX = 32;

std::string batteryClock(const sPlaces& places, const char* attribute) {
    std::string text;
    readFile2String(places.at(std::string(BATTERY_CLOCK) + attribute), text, NUMBER_MAX);
    return cleanEndWhiteSpace(text);
}

bool agreesWithBattery(const sPlaces& places, time_t wall) {
    const std::string time = batteryClock(places, "since_epoch");
    return batteryClock(places, "hctosys") == "1" && isStringNumeric(time) &&
           std::llabs(textToLong(time) - wall) <= BATTERY_CLOCK_OFF_S;
}

}  // namespace

bool isClockSure(const sPlaces& places, time_t wall, long long runS) {
    if (runS >= CLOCK_SET_WITHIN_S || places.have(SYNCHRONISED_FILE)) return true;
    return wall >= CLOCK_SET_AFTER && agreesWithBattery(places, wall);
}
