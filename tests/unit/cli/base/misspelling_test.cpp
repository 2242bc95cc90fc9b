#include "cli/base/misspelling.h"

#include <gtest/gtest.h>

TEST(EditDistance, TypingErrors_AreCounted) {
    EXPECT_EQ(0u, editDistance("CM_APN", "CM_APN"));
    EXPECT_EQ(1u, editDistance("CM_APPN", "CM_APN"));
    EXPECT_EQ(1u, editDistance("CM_AN", "CM_APN"));
    EXPECT_EQ(1u, editDistance("CM_PASSWROD", "CM_PASSWORD"));
    EXPECT_EQ(3u, editDistance("CM_DNS", "CM_APN"));
    EXPECT_EQ(6u, editDistance("", "CM_APN"));
}

TEST(LikelyMeant, WordWithFewTypingErrors_IsFound) {
    const std::vector<std::string> words = {"status", "watch", "sms", "at"};
    EXPECT_EQ("status", likelyMeant("stauts", words));
    EXPECT_EQ("watch", likelyMeant("watc", words));
    // The only word with this beginning, however much is missing.
    EXPECT_EQ("status", likelyMeant("st", words));
    // Short words: a single typing error turns one into another.
    EXPECT_EQ("", likelyMeant("smx", words));
    EXPECT_EQ("", likelyMeant("s", words));
    EXPECT_EQ("", likelyMeant("", words));
    EXPECT_EQ("", likelyMeant(std::string(65, 's'), {std::string(66, 's')}))
        << "too long to be compared";
    EXPECT_EQ("", likelyMeant("status", {}));
}
