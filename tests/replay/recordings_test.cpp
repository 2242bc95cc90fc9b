#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include "tests/replay/published_marks.h"
#include "tests/replay/replayed_day.h"
#include "tests/replay/sessions.h"
#include "tests/replay/variations.h"
#include "tests/support/flow_fixture.h"
#include "tests/support/recorded_text.h"
#include "tests/support/temp_folder.h"

// The recordings of tests/recordings, and what the daemon must publish at the end of each.

namespace {

using le910sim::sRecording;

const char* const EXTENSION = ".jsonl";
const char* const RENEW = "scripts/renew_recordings.sh";

std::vector<std::string> names() {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(RECORDINGS))
        if (entry.path().extension() == EXTENSION) found.push_back(entry.path().stem());
    std::sort(found.begin(), found.end());
    return found;
}

uint64_t seed() {
    const char* const given = getenv("CELLSLOT_SEED");
    static const uint64_t value =
        given != nullptr ? strtoull(given, nullptr, 10) : std::random_device()();
    return value;
}

class Recordings : public cFlowFixture, public ::testing::WithParamInterface<std::string> {
  protected:
    std::string path(const std::string& extension) const {
        return std::string(RECORDINGS) + "/" + GetParam() + extension;
    }
    sRecording recording() const { return le910sim::readRecording(path(EXTENSION)); }
    // The same for a name and a seed, whatever runs before.
    std::mt19937_64 random() const {
        const std::string name = GetParam();
        std::seed_seq sequence(name.begin(), name.end());
        std::mt19937_64 ofName(sequence);
        return std::mt19937_64(ofName() ^ seed());
    }
    void expectPublished(const sRecording& varied) const {
        const sReplayedOutcome outcome = runReplayedDay(varied);
        EXPECT_EQ(outcome.published, readFile(path(".published"))) << "CELLSLOT_SEED=" << seed();
        EXPECT_TRUE(outcome.unknown.empty()) << outcome.unknown[0];
    }
};

}  // namespace

TEST_P(Recordings, AsRecorded_TheDaemonAsksTheSameAndPublishesTheSame) {
    const sRecording recorded = recording();
    const sReplayedOutcome outcome = runReplayedDay(recorded);
    EXPECT_TRUE(outcome.isOver);
    EXPECT_EQ(outcome.differences, 0U) << outcome.firstDifference;
    EXPECT_EQ(differencesFromRecorded(recorded, outcome.published), std::vector<std::string>());
    expectFile(path(".published"), outcome.published, RENEW);
}

// A session that does not show what it was made for is of no use.
TEST(RecordedSessions, WhatASessionMustShow_IsPublishedAtItsEnd) {
    for (const sSession& session : readSessions(RECORDINGS "/sessions.json")) {
        const std::string published = readFile(RECORDINGS "/" + session.name + ".published");
        for (const std::string& line : session.expect)
            EXPECT_NE(published.find("CELLMODEM1_" + line + "\n"), std::string::npos)
                << session.name << ": " << line;
    }
}

TEST_P(Recordings, InRandomPieces_TheDaemonPublishesTheSame) {
    std::mt19937_64 chosen = random();
    expectPublished(cutIntoPieces(recording(), chosen));
}

TEST_P(Recordings, WithUnsolicitedLines_TheDaemonPublishesTheSame) {
    std::mt19937_64 chosen = random();
    expectPublished(withUnsolicitedLines(recording(), chosen));
}

INSTANTIATE_TEST_SUITE_P(Each, Recordings, ::testing::ValuesIn(names()), [](const auto& session) {
    std::string name = session.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});
