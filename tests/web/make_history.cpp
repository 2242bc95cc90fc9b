// Keeps a made-up history of slot 1 for the tests of the page: make_history DAYS. It ends now. Per
// day one outage of 1000 s, which ends 6 h before now's time of day, and half an hour 12 h before
// it in which nothing is known.

#include <cmath>
#include <cstdlib>
#include <iostream>

#include "history/slot_recorder.h"

namespace {

constexpr time_t STEP_S = 10;
constexpr time_t DAY_S = 86400;
constexpr time_t COMMIT_S = 900;
constexpr time_t OUTAGE_ENDS_S = 6 * 3600;  // before now
constexpr time_t OUTAGE_S = 1000;
constexpr time_t GAP_ENDS_S = 12 * 3600;
constexpr time_t GAP_S = 1800;
constexpr double TURN = 2 * M_PI / DAY_S;

bool isWithin(time_t beforeNow, time_t end, time_t length) {
    const time_t ofDay = beforeNow % DAY_S;
    return ofDay > end && ofDay <= end + length;
}

void set(sReading& reading, eSource source, double value) {
    reading.values[static_cast<size_t>(source)] = value;
}

sReading readingAt(time_t second, time_t beforeNow) {
    const bool isOffline = isWithin(beforeNow, OUTAGE_ENDS_S, OUTAGE_S);
    // Strong in the night, weaker by day, and weaker from week to week.
    const double wave =
        std::cos(TURN * static_cast<double>(second)) - static_cast<double>(second) / (20 * DAY_S);
    const double flutter =
        std::sin(static_cast<double>(second) / 70) + std::sin(static_cast<double>(second) / 431);
    sReading reading;
    reading.isConnected = !isOffline;
    set(reading, eSource::RSRP, std::round(-96 + 6 * wave + 2 * flutter));
    set(reading, eSource::RSRQ, std::round(-10 + wave));
    set(reading, eSource::RSSI, std::round(-66 + 6 * wave));
    set(reading, eSource::TEMPERATURE,
        std::round(31 - 6 * std::cos(TURN * static_cast<double>(second))));
    set(reading, eSource::CONNECTED, isOffline ? 0 : 1);
    set(reading, eSource::REGISTERED, isOffline ? 0 : 1);
    const auto sent = static_cast<uint64_t>(second);
    reading.counters = {4, sent * 180, sent * 40, 0, 0, 0};
    reading.sim = "89014100000000000015";
    reading.registration = isOffline ? "Searching" : "Home";
    reading.network = "Example Mobile";
    reading.technology = "LTE";
    reading.cell = second / DAY_S % 3 == 0 ? "0A1B2C3" : "0A1B2C4";
    if (isOffline) {
        reading.cause = "searching";
        reading.causeText = "No network yet; the modem is searching.";
    }
    return reading;
}

bool keep(cSlotRecorder& recorder, time_t length, time_t begin, std::string& error) {
    for (time_t second = 0; second <= length; second += STEP_S) {
        const sClock clock = {begin + second, second};
        if (isWithin(length - second, GAP_ENDS_S, GAP_S))
            recorder.look(clock);
        else
            recorder.follow(readingAt(second, length - second), clock);
        if (second % COMMIT_S == 0 && !recorder.commit(clock, error)) return false;
    }
    return recorder.stop({begin + length, length}, error);
}

}  // namespace

int main(int argc, char** argv) {
    const time_t length = (argc == 2 ? atoi(argv[1]) : 0) * DAY_S;
    const time_t begin = time(nullptr) / STEP_S * STEP_S - length;
    std::string error;
    cSlotRecorder recorder({}, 1);
    if (length > 0 && recorder.start({begin, 0}, error) && keep(recorder, length, begin, error))
        return 0;
    std::cerr << "make_history: " << (error.empty() ? "the number of days is missing" : error)
              << "\n";
    return 1;
}
