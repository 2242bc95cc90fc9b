#include "fleet/waves.h"

#include <gtest/gtest.h>

namespace {

using tNames = std::vector<std::string>;
const tNames FIVE = {"a", "b", "c", "d", "e"};

}  // namespace

TEST(Waves, NextWave_BeginsAfterAllOfTheLastAnswered) {
    cWaves waves(FIVE, 2, 0);
    EXPECT_EQ(waves.next(), (tNames{"a", "b"}));
    EXPECT_EQ(waves.next(), tNames());
    waves.finish("b", true);
    EXPECT_EQ(waves.next(), tNames());
    waves.finish("a", false);
    EXPECT_EQ(waves.next(), (tNames{"c", "d"}));
    waves.finish("c", true);
    waves.finish("d", true);
    EXPECT_EQ(waves.next(), tNames{"e"});
    EXPECT_FALSE(waves.isOver());
    waves.finish("e", true);
    EXPECT_TRUE(waves.isOver());
    EXPECT_EQ(waves.succeeded(), 4u);
    EXPECT_EQ(waves.failed(), 1u);
    EXPECT_EQ(waves.notAsked(), tNames());
}

TEST(Waves, FailuresAsMany_StopTheRest) {
    cWaves waves(FIVE, 2, 2);
    waves.next();
    waves.finish("a", false);
    EXPECT_FALSE(waves.isStopped());
    waves.finish("b", false);
    EXPECT_TRUE(waves.isStopped());
    EXPECT_EQ(waves.next(), tNames());
    EXPECT_TRUE(waves.isOver());
    EXPECT_EQ(waves.notAsked(), (tNames{"c", "d", "e"}));
}

TEST(Waves, FailureInAWave_LetsTheWaveEnd) {
    cWaves waves(FIVE, 3, 1);
    waves.next();
    waves.finish("a", false);
    EXPECT_FALSE(waves.isOver());
    waves.finish("b", true);
    waves.finish("c", true);
    EXPECT_TRUE(waves.isOver());
    EXPECT_EQ(waves.succeeded(), 2u);
}

TEST(Waves, Interrupted_KeepsWhoIsOut) {
    cWaves waves(FIVE, 2, 0);
    waves.next();
    waves.finish("a", true);
    waves.stop();
    EXPECT_FALSE(waves.isOver());
    EXPECT_EQ(waves.out(), std::set<std::string>{"b"});
    EXPECT_EQ(waves.notAsked(), (tNames{"c", "d", "e"}));
}

TEST(Waves, SecondWordOrAStranger_DoesNotCount) {
    cWaves waves(FIVE, 5, 0);
    waves.next();
    waves.finish("a", true);
    waves.finish("a", false);
    waves.finish("nobody", false);
    EXPECT_EQ(waves.succeeded(), 1u);
    EXPECT_EQ(waves.failed(), 0u);
}

TEST(Waves, NobodyToAsk_IsOverAtOnce) {
    EXPECT_TRUE(cWaves({}, 0, 0).isOver());
}
