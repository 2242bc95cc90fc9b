#include "published/paths.h"

#include <gtest/gtest.h>

// Literal on purpose: other programs use these paths too.

TEST(Paths, OfASlot_AreThoseThatOtherProgramsKnow) {
    EXPECT_EQ(slotConfigFile(2), "/etc/vuk/cellular2.conf");
    EXPECT_EQ(pinFilePath(2), "/etc/vuk/cellular_cpin.2");
    EXPECT_EQ(pinRequestPath(2), "/etc/vuk/cellular_cpin_new.2");
    EXPECT_EQ(pinChangePath(2), "/etc/vuk/cellular_cpin_change.2");
    EXPECT_EQ(listingNotePath(2), "/storage/cellmodem.sms.listing.2");
    EXPECT_EQ(pukFilePath(2), "/etc/vuk/cellular_puk.2");
    EXPECT_EQ(statusFilePath(2), "/var/log/wireless.cardstats.2");
    EXPECT_EQ(pidFilePath(2), "/var/run/cellslotd.2.pid");
    EXPECT_EQ(configLookPath(2), "/var/run/cellslotd.2.config");
    EXPECT_EQ(loggedFilePath(2), "/var/run/cellslotd.2.logged");
    EXPECT_EQ(recordRequestPath(2), "/run/cellslot/record.2");
    EXPECT_EQ(recordingPath(2), "/var/log/cellslot/recording.2.jsonl");
    EXPECT_EQ(olderRecordingPath(2), "/var/log/cellslot/recording.2.older.jsonl");
    EXPECT_EQ(keptRecordingPath(2, 3), "/var/log/cellslot/recording.2.exit-3.jsonl");
    EXPECT_EQ(firmwareTriggerName(2), "start_update.2");
    EXPECT_EQ(firmwareStatusPath(2), "/storage/cellmodem.firmware.upd.status.2");
}

TEST(Paths, OfTheGateway_AreThoseThatOtherProgramsKnow) {
    EXPECT_EQ(oldConfigFile(), "/etc/zoq/wireless/cellmodem_ppp.conf");
    EXPECT_STREQ(PLAIN_STATUS_FILE, "/var/log/wireless.cardstats");
    EXPECT_STREQ(SERIAL_NUMBER_FILE, "/var/log/wireless.serialno");
    EXPECT_STREQ(OWN_NUMBER_FILE, "/var/log/wireless.mdn");
    EXPECT_STREQ(CARRIER_LIST_NAME, "carrier_list.json");
    EXPECT_STREQ(FIRMWARE_FOLDER_NAME, "cellmodem_firmware");
    EXPECT_STREQ(AT_LOG_FOLDER, "/storage/vault/system/logs/");
    EXPECT_STREQ(AT_LOG_NAME, "at_cmdlog.txt");
}

TEST(Paths, SlotAsTextAndAsNumber_GiveTheSame) {
    EXPECT_EQ(pinFilePath("3"), pinFilePath(3));
    EXPECT_EQ(pinFilePath(std::string("3")), pinFilePath(3));
}

TEST(Paths, FilesWithoutASlot_AreOfSlot1Only) {
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot) {
        EXPECT_EQ(hasOldConfigFile(slot), slot == 1);
        EXPECT_EQ(hasPlainStatusFile(slot), slot == 1);
    }
}

TEST(Paths, InAnotherFolder_HaveTheSameNames) {
    EXPECT_EQ(slotConfigFileIn("/a/b", 3), "/a/b/cellular3.conf");
    EXPECT_EQ(oldConfigFileIn("/a/b"), "/a/b/cellmodem_ppp.conf");
    EXPECT_EQ(pidFileIn("/a/b", "other", 1), "/a/b/other.1.pid");
}
