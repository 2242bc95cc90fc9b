#include "http/attempts.h"

#include <gtest/gtest.h>

TEST(Attempts, FiveFailures_MakeTheClientWaitAMinuteFromTheFirst) {
    cAttempts attempts;
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(attempts.waitS("a", 100 + i), 0) << i;
        attempts.addFailure("a", 100 + i);
    }
    EXPECT_EQ(attempts.waitS("a", 105), 55);
    EXPECT_EQ(attempts.waitS("a", 159), 1);
    EXPECT_EQ(attempts.waitS("a", 160), 0);
    attempts.addFailure("a", 160);
    EXPECT_EQ(attempts.waitS("a", 160), 1);
}

TEST(Attempts, AnotherClient_NeedNotWait) {
    cAttempts attempts;
    for (int i = 0; i < 5; ++i)
        attempts.addFailure("a", 100);
    EXPECT_GT(attempts.waitS("a", 100), 0);
    EXPECT_EQ(attempts.waitS("b", 100), 0);
}

TEST(Attempts, ManyClients_ShareALimit) {
    cAttempts attempts;
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(attempts.waitS(std::to_string(i), 100), 0) << i;
        attempts.addFailure(std::to_string(i), 100);
    }
    EXPECT_EQ(attempts.waitS("new", 110), 50);
    EXPECT_EQ(attempts.waitS("new", 160), 0);
}
