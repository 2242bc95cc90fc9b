#include "history/store_file.h"

#include "history/rrd_image.h"
#include "tests/unit/history/history_fixture.h"

namespace {

using StoreFile = HistoryTest;

}  // namespace

TEST_F(StoreFile, Made_EveryoneMayRead_AndNothingElseIsLeft) {
    for (const sStore& store : STORES) {
        const std::string path = historyPath(places, storeName(store, 1));
        std::string error;
        ASSERT_TRUE(makeStoreFile(path, store, DAY, "", error)) << error;
        struct stat info {};
        ASSERT_EQ(stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777u, 0644u);
        cRrdImage image;
        EXPECT_TRUE(image.load(path, store)) << image.errorText();
    }
    EXPECT_EQ(files().size(), STORES.size());
}

TEST_F(StoreFile, CannotBeMade_ErrorOfTheOtherProcessIsReported_AndTheOldFileStays) {
    const std::string nowhere = places.at(HISTORY_FOLDER) + "/none/1.rrd";
    std::string error;
    EXPECT_FALSE(makeStoreFile(nowhere, STORES[0], DAY, "", error));
    EXPECT_NE(error.find("annot create"), std::string::npos) << error;

    const std::string path = historyPath(places, "1.rrd");
    write(path, "old");
    EXPECT_FALSE(makeStoreFile(path, STORES[0], DAY, path, error)) << "the source is no RRD file";
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(files(), (tFiles{{"1.rrd", "old"}}));
}

// A power cut while librrd writes, or before the rename.
TEST_F(StoreFile, DraftsOfAPowerCut_AreSweptAtTheNextStart_OthersStay) {
    for (const char* name : {"1.rrd.new", "1.rrd.newAb3xYz", "1-slow.rrd.newq1w2e3", "1.redo.new"})
        write(historyPath(places, name), "part of a file");
    const tFiles kept = {
        {"1.rrd.damaged", "old"}, {"2.rrd.newAb3xYz", "of slot 2"}, {"notes", "x"}};
    for (const auto& [name, bytes] : kept)
        write(historyPath(places, name), bytes);
    cSlotRecorder recorder(places, 1);
    start(recorder, {100, 10});  // the clock is not set, so no store is made
    EXPECT_EQ(files(), kept);
}
