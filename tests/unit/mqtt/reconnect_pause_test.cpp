#include "mqtt/reconnect_pause.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

constexpr uint32_t ALL = UINT32_MAX;

}  // namespace

TEST(ReconnectPause, Pauses_GrowToTenMinutes) {
    cReconnectPause pause;
    for (const int64_t wholeMs :
         {1000, 2000, 4000, 8000, 16000, 32000, 64000, 128000, 256000, 512000, 600000, 600000}) {
        const int64_t ms = pause.next(ALL);
        EXPECT_GE(ms, wholeMs / 2);
        EXPECT_LE(ms, wholeMs);
    }
}

TEST(ReconnectPause, RandomNumber_SpreadsOverTheWholeHalf) {
    std::vector<bool> isSeen(501);
    for (uint32_t random = 0; random < 2000; ++random) {
        const int64_t ms = cReconnectPause().next(random);
        ASSERT_GE(ms, 500);
        ASSERT_LE(ms, 1000);
        isSeen[static_cast<size_t>(ms - 500)] = true;
    }
    for (size_t ms = 0; ms < isSeen.size(); ++ms)
        EXPECT_TRUE(isSeen[ms]) << ms + 500;
}

TEST(ReconnectPause, AfterAGoodConnection_ItIsShortAgain) {
    cReconnectPause pause;
    for (int attempt = 0; attempt < 20; ++attempt)
        pause.next(ALL);
    pause.reset();
    EXPECT_LE(pause.next(ALL), 1000);
}
