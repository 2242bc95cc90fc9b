#include "published/outcome_texts.h"

#include <gtest/gtest.h>

// The texts of the daemon, as tests/flow/sim_pin_flow_test.cpp expects them.

TEST(OutcomeTexts, DoneOrNothingToDo_IsGood) {
    for (const char* text :
         {"SIM PIN successfully unlocked", "SIM PIN successfully changed from '1234' to '4321'",
          "SIM PIN '1234' successfully enabled", "OLD/NEW CPINs '1234' are the same, ignoring"}) {
        EXPECT_TRUE(isPinOutcomeGood(text)) << text;
        EXPECT_FALSE(isPinOutcomeRefused(text)) << text;
    }
}

TEST(OutcomeTexts, BadPassword_IsRefused) {
    for (const char* text : {"Error: Unable to unlock SIM PIN, bad password '1234'",
                             "Error: Unable to enable SIM PIN, bad password '1234'"}) {
        EXPECT_TRUE(isPinOutcomeRefused(text)) << text;
        EXPECT_FALSE(isPinOutcomeGood(text)) << text;
    }
}

TEST(OutcomeTexts, OtherFailures_AreNeither) {
    for (const char* text : {"", "Error: Unable to unlock SIM PIN, command time out",
                             "Error: Cannot unlock SIM, already in a ready state"}) {
        EXPECT_FALSE(isPinOutcomeGood(text)) << text;
        EXPECT_FALSE(isPinOutcomeRefused(text)) << text;
    }
}
