#ifndef TESTS_UNIT_HISTORY_RECORDED_DAYS_H
#define TESTS_UNIT_HISTORY_RECORDED_DAYS_H

#include <cmath>
#include <cstdlib>

#include "tests/unit/history/history_fixture.h"

// Made days of a slot, the same each time: the signal goes up and down with the hours; each day has
// an outage of twelve minutes in the morning and one without a SIM in the evening.
class RecordedDays : public HistoryTest {
  protected:
    RecordedDays() {
        setenv("TZ", "UTC", 1);
        tzset();
    }

    static sReading readingAt(time_t at) {
        const time_t ofDay = at % DAY_S;
        const bool isSearching = ofDay >= 6 * HOUR_S && ofDay < 6 * HOUR_S + 720;
        const bool isWithoutSim = ofDay >= 19 * HOUR_S && ofDay < 19 * HOUR_S + 2100;
        sReading reading = isSearching || isWithoutSim ? offlineReading() : connectedReading();
        if (isWithoutSim) {
            reading.cause = "no_sim";
            reading.causeText = "The modem detects no SIM card.";
        }
        const double angle = 2 * 3.14159265358979 * static_cast<double>(at) / (8 * HOUR_S);
        reading.values[static_cast<size_t>(eSource::RSRP)] = std::round(-95 + 12 * std::sin(angle));
        const auto bytes = static_cast<uint64_t>(at) * 250;
        reading.counters = {4, bytes, bytes / 10, static_cast<uint64_t>(at / (5 * HOUR_S)), 0, 0};
        reading.registration = isSearching ? "Searching" : "Reg Home";
        return reading;
    }
    // begin and end: seconds after DAY.
    void record(cSlotRecorder& recorder, time_t begin, time_t end) const {
        for (time_t at = begin; at <= end; at += 60) {
            recorder.follow(readingAt(at), {DAY + at, at});
            if (at % HOUR_S == 0) commit(recorder, {DAY + at, at});
        }
    }
    void recordDays(time_t length) const {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 0});
        record(recorder, 0, length);
    }
};

#endif
