#include "fleet/fleet_site.h"

#include <gtest/gtest.h>

TEST(QueryText, Escapes_AreDecoded) {
    EXPECT_EQ(queryText("AT%26T"), "AT&T");
    EXPECT_EQ(queryText("not+connected%20x"), "not connected x");
    EXPECT_EQ(queryText(""), "");
}

TEST(QueryText, WrongEscapesAndControlCharacters_AreRefused) {
    for (const char* value : {"%", "%4", "%zz", "a%00b", "%0a", "\n", "100%"})
        EXPECT_FALSE(queryText(value)) << value;
}
