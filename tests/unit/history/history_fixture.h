#ifndef TESTS_UNIT_HISTORY_HISTORY_FIXTURE_H
#define TESTS_UNIT_HISTORY_HISTORY_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <string>

#include "history/history_paths.h"
#include "history/slot_history.h"
#include "history/slot_recorder.h"
#include "tests/support/temp_folder.h"

// 2026-11-21 00:00:00 UTC, the begin of a day.
constexpr time_t DAY = 1795219200;
constexpr time_t HOUR_S = 3600;
constexpr time_t DAY_S = 24 * HOUR_S;

inline sReading connectedReading(double rsrp = -98) {
    sReading reading;
    reading.isConnected = true;
    reading.values[static_cast<size_t>(eSource::RSRP)] = rsrp;
    reading.values[static_cast<size_t>(eSource::TEMPERATURE)] = 28;
    reading.values[static_cast<size_t>(eSource::CONNECTED)] = 1;
    reading.values[static_cast<size_t>(eSource::REGISTERED)] = 1;
    reading.sim = "89014100000000000015";
    reading.counters = {4, 0, 0, 0, 0, 0};
    return reading;
}

inline sReading offlineReading(const std::string& cause = "searching") {
    sReading reading = connectedReading();
    reading.isConnected = false;
    reading.values[static_cast<size_t>(eSource::CONNECTED)] = 0;
    reading.cause = cause;
    reading.causeText = "No network yet; the modem is searching.";
    return reading;
}

class HistoryTest : public testing::Test {
  protected:
    HistoryTest() {
        places.root = folder.path();
        std::filesystem::create_directories(places.at(HISTORY_FOLDER));
        std::filesystem::create_directories(places.at(HISTORY_RUN_FOLDER));
    }

    // Every file on the disk with its bytes.
    using tFiles = std::map<std::string, std::string>;
    tFiles files() const {
        tFiles found;
        for (const auto& entry : std::filesystem::directory_iterator(places.at(HISTORY_FOLDER)))
            found[entry.path().filename()] = read(entry.path());
        return found;
    }
    void restore(const tFiles& kept) const {
        std::filesystem::remove_all(places.at(HISTORY_FOLDER));
        std::filesystem::create_directories(places.at(HISTORY_FOLDER));
        for (const auto& [name, bytes] : kept)
            write(historyPath(places, name), bytes);
    }
    static std::string read(const std::string& path) { return readFile(path); }
    static void write(const std::string& path, const std::string& bytes) { writeFile(path, bytes); }
    // What the host keeps in memory is gone after a power cut.
    void forgetMemory() const {
        std::filesystem::remove_all(places.at(HISTORY_RUN_FOLDER));
        std::filesystem::create_directories(places.at(HISTORY_RUN_FOLDER));
    }
    void commit(cSlotRecorder& recorder, const sClock& clock) const {
        std::string error;
        EXPECT_TRUE(recorder.commit(clock, error)) << error;
    }
    void start(cSlotRecorder& recorder, const sClock& clock) const {
        std::string error;
        EXPECT_TRUE(recorder.start(clock, error)) << error;
    }

    const cTempFolder folder;
    sPlaces places;
};

#endif
