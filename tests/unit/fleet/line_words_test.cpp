#include "fleet/line_words.h"

#include <gtest/gtest.h>

TEST(LineWords, LossAndReturn_AreSaidOnce) {
    cLineWords words("wait");
    EXPECT_EQ(words.news(true, ""), "");
    EXPECT_EQ(words.news(false, "b: refused\x1b"),
              "nothing comes from the broker: b: refused?; wait");
    EXPECT_EQ(words.news(false, "b: refused"), "");
    // Connected, but the subscriptions are not answered yet.
    EXPECT_EQ(words.news(false, ""), "");
    EXPECT_EQ(words.news(true, ""), "connected to the broker again");
    EXPECT_EQ(words.news(true, ""), "");
}
