#include "cli/base/utc_time.h"

#include <gtest/gtest.h>

TEST(UtcTime, Text_IsReadBack) {
    for (const time_t time : {time_t{0}, time_t{951782400}, time_t{1795375263}, LATEST_TIME})
        EXPECT_EQ(parseUtcText(utcText(time)), time) << utcText(time);
}

TEST(UtcTime, OtherTexts_AreNotRead) {
    for (const char* text :
         {"", "2026-11-22", "2026-11-22T12:00:00", "2026-11-22T12:00:00z", "2026-11-22T12:00:00Z ",
          " 2026-11-22T12:00:00Z", "2026-11-22T12:00:00+00:00", "2026-02-29T12:00:00Z",
          "2026-11-22T24:00:00Z", "2026-11-22T12:60:00Z", "2026-11-22T12:00:60Z",
          "1969-12-31T23:59:59Z", "2026-1-22T12:00:00Z", "12026-11-22T12:00:00Z"})
        EXPECT_FALSE(parseUtcText(text)) << text;
}
