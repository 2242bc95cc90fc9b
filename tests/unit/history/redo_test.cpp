#include "history/redo.h"

#include <cmath>
#include <cstdlib>
#include <random>

#include "history/layout.h"
#include "history/rrd_image.h"
#include "tests/unit/history/history_fixture.h"

namespace {

constexpr size_t SECTOR_BYTES = 512;

class PowerCut : public HistoryTest {
  protected:
    // A day of history, and a commit of which every byte is known.
    void SetUp() override {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 0});
        for (time_t at = 0; at <= 1800; at += 10) {
            recorder.follow(at % 700 < 300 ? offlineReading() : connectedReading(), {DAY + at, at});
            if (at == 900) {
                commit(recorder, {DAY + at, at});
                before = files();
            }
        }
        commit(recorder, {DAY + 1800, 1800});
        after = files();
        // The steps between the two.
        for (const auto& [name, bytes] : after) {
            const std::string& old = before[name];
            if (old == bytes) continue;
            if (name.find(".rrd") == name.npos) {
                const size_t from = name == eventsName(1) ? old.size() : 0;
                redo.add({cRedo::sStep::eKind::TAIL, name, from, bytes.substr(from)});
                continue;
            }
            for (size_t at = 0; at < bytes.size(); at += 4096)
                if (old.compare(at, 4096, bytes, at, 4096) != 0)
                    redo.add({cRedo::sStep::eKind::BLOCK, name, at, bytes.substr(at, 4096)});
        }
        forgetMemory();
    }
    // Any part of what was on its way to the disk has reached it, in any order.
    tFiles cut(std::mt19937& random) const {
        tFiles disk = before;
        disk[redoName(1)] = redo.text();
        for (const cRedo::sStep& step : redo.steps()) {
            std::string& bytes = disk[step.name];
            if (bytes.size() < step.offset + step.bytes.size())
                bytes.resize(step.offset + random() % (step.bytes.size() + 1));
            for (size_t at = 0; at < step.bytes.size(); at += SECTOR_BYTES) {
                if (random() % 2 == 0 || step.offset + at >= bytes.size()) continue;
                const size_t length = std::min(
                    {SECTOR_BYTES, step.bytes.size() - at, bytes.size() - step.offset - at});
                bytes.replace(step.offset + at, length, step.bytes, at, length);
            }
        }
        return disk;
    }
    bool isReadByRrdtool() const {
        for (const sStore& store : STORES) {
            cRrdImage image;
            if (!image.load(historyPath(places, storeName(store, 1)), store)) return false;
            if (image.last() == 0) return false;
            const std::string command =
                "rrdtool fetch '" + historyPath(places, storeName(store, 1)) + "' AVERAGE -s " +
                std::to_string(DAY) + " -e " + std::to_string(DAY + 1800) + " >/dev/null 2>&1";
            if (m_isRrdtoolDue && system(command.c_str()) != 0) return false;
        }
        return true;
    }

    tFiles before;
    tFiles after;
    cRedo redo;
    bool m_isRrdtoolDue = false;
};

}  // namespace

TEST_F(PowerCut, AnyPartOfACommitOnTheDisk_FilesAreReadable_AndTheNextStartCompletesIt) {
    ASSERT_GT(redo.steps().size(), 5u);
    std::mt19937 random(7);
    for (int i = 0; i < 100; ++i) {
        restore(cut(random));
        m_isRrdtoolDue = i < 10;
        ASSERT_TRUE(isReadByRrdtool()) << i;
        {
            // A reader sees the whole commit before the service has put it right.
            const cSlotHistory history(places, 1);
            ASSERT_EQ(history.state(), eHistory::GOOD) << history.defect();
            ASSERT_EQ(history.end(), DAY + 1800);
            ASSERT_EQ(history.availability({DAY, DAY + 1800}).knownS, 1800);
        }
        std::string error;
        ASSERT_TRUE(recoverRedo(places, 1, error)) << error;
        ASSERT_EQ(files(), after) << i;
    }
}

TEST_F(PowerCut, RedoFileCutShort_NothingOfTheCommitIsDone) {
    const std::string text = redo.text();
    for (size_t size = 0; size < text.size(); size += 1 + size / 20) {
        tFiles disk = before;
        disk[redoName(1)] = text.substr(0, size);
        restore(disk);
        std::string error;
        ASSERT_TRUE(recoverRedo(places, 1, error)) << error;
        ASSERT_EQ(files(), before) << size;
    }
}

TEST_F(PowerCut, RedoFileWithWrongBytes_IsRefused) {
    std::mt19937 random(11);
    const std::string text = redo.text();
    for (int i = 0; i < 500; ++i) {
        std::string wrong = text;
        wrong[random() % wrong.size()] ^= static_cast<char>(1 + random() % 255);
        cRedo parsed;
        ASSERT_FALSE(parsed.parse(wrong, 1)) << i;
    }
    cRedo parsed;
    EXPECT_TRUE(parsed.parse(text, 1));
    EXPECT_FALSE(parsed.parse(text, 2)) << "files of another slot";
    EXPECT_EQ(parsed.text().substr(0, 10), text.substr(0, 10));
}

TEST_F(PowerCut, RedoFileThatNamesAForeignFile_IsRefused) {
    for (const char* name : {"../../../etc/passwd", "/etc/passwd", "2.rrd", ""}) {
        cRedo foreign;
        foreign.add({cRedo::sStep::eKind::TAIL, name, 0, "x"});
        cRedo parsed;
        EXPECT_FALSE(parsed.parse(foreign.text(), 1)) << name;
    }
}

TEST_F(PowerCut, AfterIt_AtMostAQuarterOfAnHourIsMissing_AndItIsNotKnown) {
    restore(before);
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY + 1900, 0});
    recorder.follow(connectedReading(), {DAY + 1900, 0});
    recorder.follow(connectedReading(), {DAY + 1950, 50});
    commit(recorder, {DAY + 1950, 50});
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.availability({DAY, DAY + 1950}).knownS, 900 + 50);
    const sSeries series = history.series(eSource::CONNECTED, {DAY, DAY + 1950}, 1000);
    for (const sPoint& point : series.points) {
        const bool isKnown = point.time < DAY + 900 || point.time >= DAY + 1900;
        EXPECT_EQ(!std::isnan(point.average), isKnown) << point.time - DAY;
    }
}

// Not ours: the history goes on without it.
TEST_F(PowerCut, NoFileInThePlaceOfTheRedoFile_IsPutAside) {
    const std::string path = historyPath(places, redoName(1));
    for (const bool isFolder : {true, false}) {
        if (isFolder)
            std::filesystem::create_directory(path);
        else
            write(path, std::string(REDO_BYTES_MAX + 1, 'x'));
        std::string error;
        EXPECT_TRUE(recoverRedo(places, 1, error)) << error;
        EXPECT_FALSE(std::filesystem::exists(path));
    }
}
