#include "history/span.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

constexpr time_t NOW = 1795262400;  // 2026-11-21 12:00:00 UTC

class Span : public testing::Test {
  protected:
    Span() {
        setenv("TZ", "Europe/Berlin", 1);
        tzset();
    }
    ~Span() override {
        unsetenv("TZ");
        tzset();
    }
};

}  // namespace

TEST_F(Span, NumberWithUnit_IsThatLongBeforeNow) {
    const std::pair<const char*, time_t> spans[] = {{"1m", 60},         {"90m", 5400},
                                                    {"24h", 86400},     {"7d", 7 * 86400},
                                                    {"2w", 14 * 86400}, {"1y", 365 * 86400}};
    for (const auto& [text, seconds] : spans)
        EXPECT_EQ(beginOf(text, NOW), NOW - seconds) << text;
}

TEST_F(Span, Date_IsLocalTime) {
    EXPECT_EQ(beginOf("2026-11-21", NOW), NOW - 13 * 3600);
    EXPECT_EQ(beginOf("2026-11-21 12:30", NOW), NOW - 1800);
    // In summer the clock is another hour ahead.
    EXPECT_EQ(beginOf("2026-07-01", NOW), 1782856800);
}

TEST_F(Span, TextThatIsNoTimeBeforeNow_IsRefused) {
    for (const char* text : {"",
                             "h",
                             "0h",
                             "-1h",
                             "1",
                             "1x",
                             "1hh",
                             " 1h",
                             "1h ",
                             "1.5h",
                             "99999999999999999999d",
                             "11y",
                             "4294967296m",
                             "2026-11-21 13:00",
                             "2026-11-22",
                             "2026-13-01",
                             "2026-11-21T10:00",
                             "2026-11-21 10:00:00",
                             "1970-01-01",
                             "yesterday"})
        EXPECT_FALSE(beginOf(text, NOW)) << text;
}
