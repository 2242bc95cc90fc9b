#include "published/status_keys.h"

#include <gtest/gtest.h>

// The names of the other keys are in the recorded status files, with which flow tests compare.

TEST(StatusKeys, NumberedKeys_AreThoseThatOtherProgramsKnow) {
    EXPECT_EQ(contextStatusKey(0), "SIM_CONT_APN0");
    EXPECT_EQ(contextStatusKey(14), "SIM_CONT_APN14");
    EXPECT_EQ(activeSetEcIoKey(1), "ACT1_F_ECIO");
    EXPECT_EQ(activeSetPscKey(1), "ACT1_PSC");
    EXPECT_EQ(activeSetChannelKey(1), "ACT1_UARFCN");
}

TEST(StatusKeys, Start_CarriesTheSlot) {
    EXPECT_EQ(statusKeyStart(2), "CELLMODEM2");
    EXPECT_STREQ(PLAIN_STATUS_KEY_START, "CELLMODEM");
    EXPECT_STREQ(STATUS_KEY_SEPARATOR, "_");
}

TEST(StatusKeys, LastKey_IsTheOneThatEndsTheFile) {
    EXPECT_STREQ(LAST_STATUS_KEY.name, "SMS_RECV");
}
