#include "agent/command_desk.h"

#include <gtest/gtest.h>

#include "tests/support/full_disk.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr time_t NOW = CLOCK_SET_AFTER + 1000;

class CommandDesk : public testing::Test {
  protected:
    CommandDesk() {
        config.commands = {COMMAND_RELOAD, COMMAND_AT, COMMAND_CONFIG};
        config.atCommands = {"AT+CSQ", "AT#MONI*"};
        open();
    }
    void open() {
        desk.reset();
        store = std::make_unique<cAgentStore>(folder.path());
        ASSERT_TRUE(store->open(note, error)) << error;
        desk = std::make_unique<cCommandDesk>(
            config, *store, [this](const std::string& line) { log += line + "\n"; });
        desk->resume(clock);
    }
    sCommand command(const std::string& id, const char* name = COMMAND_RELOAD) const {
        sCommand result;
        result.id = id;
        result.by = "anna";
        result.deadline = clock.wall + 60;
        result.name = name;
        result.slot = 1;
        return result;
    }
    // The results since the last call: "ID status".
    std::vector<std::string> results() {
        std::vector<std::string> found;
        while (const auto message = store->takeNext()) {
            const auto result = parseResult(message->text);
            if (result) found.push_back(result->command + " " + resultWord(result->status));
        }
        return found;
    }
    void take(const sCommand& given) { desk->take(commandText(given), clock); }
    using tList = std::vector<std::string>;

    cTempFolder folder;
    sAgentConfig config;
    sAgentClock clock{NOW, 1000};
    std::unique_ptr<cAgentStore> store;
    std::unique_ptr<cCommandDesk> desk;
    std::string note;
    std::string error;
    std::string log;
};

}  // namespace

TEST_F(CommandDesk, Allowed_RunsOnceAndIsAnsweredOnce) {
    take(command("a"));
    const auto started = desk->start(clock);
    ASSERT_TRUE(started);
    EXPECT_EQ(started->id, "a");
    EXPECT_FALSE(desk->start(clock)) << "one at a time";
    desk->end(*started, {eResult::DONE, "It is done.", 0, "", false}, clock);
    EXPECT_EQ(results(), tList{"a done"});
    EXPECT_FALSE(desk->start(clock));
    EXPECT_NE(log.find("of anna: done"), std::string::npos);
}

TEST_F(CommandDesk, TheSameIdAgain_IsRepeatedAndSaysWhatCameOfIt) {
    take(command("a"));
    desk->end(*desk->start(clock), {eResult::DONE, "It is done.", 0, "", false}, clock);
    results();
    take(command("a"));
    EXPECT_FALSE(desk->start(clock));
    EXPECT_EQ(results(), tList{"a repeated"});
}

TEST_F(CommandDesk, TheSameIdWhileItWaits_IsNotAnsweredTwice) {
    take(command("a"));
    take(command("a"));
    desk->end(*desk->start(clock), {eResult::DONE, "", 0, "", false}, clock);
    EXPECT_EQ(results(), tList{"a done"});
    EXPECT_FALSE(desk->start(clock));
}

TEST_F(CommandDesk, EndedWhileItRan_IsInterruptedAndNotRunAgain) {
    take(command("a"));
    take(command("b"));
    desk->start(clock);
    open();
    EXPECT_EQ(results(), tList{"a interrupted"});
    const auto next = desk->start(clock);
    ASSERT_TRUE(next) << "what waited runs";
    EXPECT_EQ(next->id, "b");
}

// The service that works as root may have begun it; what comes of it is in its files.
TEST_F(CommandDesk, EndedWhileAChangeWasBegun_IsFollowed) {
    sCommand change = command("change", COMMAND_CONFIG);
    change.file = "CM_MTU=1400\n";
    take(change);
    desk->start(clock);
    open();
    EXPECT_TRUE(results().empty());
    ASSERT_TRUE(desk->changing());
    EXPECT_EQ(desk->changing()->id, "change");
}

TEST_F(CommandDesk, EndedWhileASecondChangeWasBegun_TheFirstIsFollowed) {
    for (const char* id : {"z", "a"}) {
        sCommand change = command(id, COMMAND_CONFIG);
        change.file = "CM_MTU=1400\n";
        take(change);
    }
    desk->noteChanging(*desk->start(clock), clock);
    desk->start(clock);
    open();
    EXPECT_EQ(results(), tList{"a interrupted"});
    ASSERT_TRUE(desk->changing());
    EXPECT_EQ(desk->changing()->id, "z");
}

TEST_F(CommandDesk, DiskIsFullWhenItEnds_ResultComesWhenThereIsRoom) {
    take(command("a"));
    const sCommand started = *desk->start(clock);
    {
        const cFullDisk full;
        desk->end(started, {eResult::DONE, "It is done.", 0, std::string(30000, 'x'), false},
                  clock);
        desk->saveAgain();
        EXPECT_TRUE(results().empty());
    }
    desk->saveAgain();
    EXPECT_EQ(results(), tList{"a done"});
    EXPECT_EQ(store->command("a")->state, eCommandState::ENDED);
    desk->saveAgain();
    EXPECT_TRUE(results().empty());
}

TEST_F(CommandDesk, DiskIsFullBeforeItStarts_WaitsUntilThereIsRoomOrItIsTooLate) {
    take(command("a"));
    take(command("b"));
    {
        const cFullDisk full;
        EXPECT_FALSE(desk->start(clock));
    }
    const auto next = desk->start(clock);
    ASSERT_TRUE(next);
    EXPECT_EQ(next->id, "a");
    desk->end(*next, {eResult::DONE, "", 0, "", false}, clock);
    clock.wall += 61;
    EXPECT_FALSE(desk->start(clock));
    EXPECT_EQ(results(), (tList{"a done", "b expired"}));
}

// A host without a battery begins where it was switched off; the broker has kept what came since.
TEST_F(CommandDesk, ClockMayBeBehind_WaitsUntilItIsSureAndIsExpired) {
    clock.isSure = false;
    take(command("late"));
    take(command("good"));
    EXPECT_FALSE(desk->start(clock));
    EXPECT_TRUE(results().empty());
    clock.wall += 61;
    sCommand far = command("far");
    far.deadline = clock.wall + DEADLINE_MAX_S + 3600;
    take(far);
    sCommand soon = command("soon");
    take(soon);
    clock.wall += 10;
    clock.isSure = true;
    const auto next = desk->start(clock);
    ASSERT_TRUE(next);
    EXPECT_EQ(next->id, "soon");
    EXPECT_EQ(results(), (tList{"late expired", "good expired", "far refused"}));
    EXPECT_LE(store->command("far")->deadline, clock.wall + DEADLINE_MAX_S);
}

TEST_F(CommandDesk, ClockBegins1970_CommandWaitsUntilItIsSet) {
    sCommand given = command("a");
    clock = {5000, 20, false};
    take(given);
    EXPECT_FALSE(desk->start(clock));
    EXPECT_TRUE(results().empty());
    clock = {NOW, 40, true};
    ASSERT_TRUE(desk->start(clock));
}

TEST_F(CommandDesk, ClockIsNeverSet_WhatWaitedIsRefused) {
    sCommand given = command("a");
    clock = {5000, 20, false};
    take(given);
    clock = {5600, 620, true};
    EXPECT_FALSE(desk->start(clock));
    EXPECT_EQ(results(), tList{"a refused"});
}

TEST_F(CommandDesk, ClockMayBeBehind_WhatIsNotAllowedIsRefusedAtOnce) {
    clock.isSure = false;
    clock.wall = 5000;
    take(command("a", COMMAND_DOCTOR));
    EXPECT_EQ(results(), tList{"a refused"});
}

// Otherwise none would be taken until that year.
TEST_F(CommandDesk, ClockWasYearsAhead_WhatWasRefusedThenKeepsNoOtherAway) {
    clock.wall += 10LL * 365 * 86400;
    desk->take("{\"id\":\"odd\"}", clock);
    EXPECT_EQ(results(), tList{"odd refused"});
    clock.wall += 2 * DEADLINE_MAX_S;
    take(command("a"));
    desk->end(*desk->start(clock), {eResult::DONE, "", 0, "", false}, clock);
    clock.wall = NOW;
    results();
    open();
    clock.runS += 10 * cCommandDesk::REFILL_S;
    take(command("b"));
    EXPECT_TRUE(desk->start(clock));
}

TEST_F(CommandDesk, EndedBeforeItRan_KeepsTheOrder) {
    for (const char* id : {"z", "a", "m"})
        take(command(id));
    open();
    for (const char* id : {"z", "a", "m"}) {
        const auto next = desk->start(clock);
        ASSERT_TRUE(next);
        EXPECT_EQ(next->id, id);
        desk->end(*next, {eResult::DONE, "", 0, "", false}, clock);
    }
}

TEST_F(CommandDesk, NotAllowed_IsRefused) {
    take(command("a", COMMAND_DOCTOR));
    EXPECT_EQ(results(), tList{"a refused"});
    EXPECT_FALSE(desk->start(clock));
}

TEST_F(CommandDesk, DeadlinePassed_IsExpired) {
    sCommand late = command("a");
    late.deadline = clock.wall - 1;
    take(late);
    take(command("b"));
    clock.wall += 61;
    EXPECT_FALSE(desk->start(clock));
    EXPECT_EQ(results(), (tList{"a expired", "b expired"}));
}

TEST_F(CommandDesk, DeadlineTooFarAhead_IsRefused) {
    sCommand far = command("a");
    far.deadline = clock.wall + DEADLINE_MAX_S + 1;
    take(far);
    EXPECT_EQ(results(), tList{"a refused"});
}

TEST_F(CommandDesk, ClockIsNotSet_IsRefusedAndNotRemembered) {
    clock.wall = 5000;
    take(command("a"));
    EXPECT_EQ(results(), tList{"a refused"});
    clock.wall = NOW;
    take(command("a"));
    EXPECT_TRUE(desk->start(clock));
}

// A clock that was ahead for a while has let identifiers be forgotten.
TEST_F(CommandDesk, ClockWentBack_AForgottenCommandIsNotRunAgain) {
    take(command("a"));
    const sCommand first = command("a");
    desk->end(*desk->start(clock), {eResult::DONE, "", 0, "", false}, clock);
    clock.wall += 100;
    take(command("b"));
    desk->end(*desk->start(clock), {eResult::DONE, "", 0, "", false}, clock);
    results();
    clock.wall -= 100;
    take(first);
    EXPECT_FALSE(desk->start(clock));
    EXPECT_EQ(results(), tList{"a expired"});
}

TEST_F(CommandDesk, TooManyAtOnce_AreRefusedThenIgnored) {
    for (int i = 0; i < 100; ++i)
        take(command("c" + std::to_string(i)));
    const tList answers = results();
    EXPECT_EQ(answers.size(), cCommandDesk::BURST - cCommandDesk::QUEUE_MAX);
    EXPECT_EQ(answers[0], "c8 refused");
    EXPECT_NE(log.find("came too fast"), std::string::npos);
    clock.runS += cCommandDesk::REFILL_S;
    take(command("later"));
    EXPECT_EQ(results(), tList{"later refused"}) << "the queue is still full";
}

TEST_F(CommandDesk, NoCommandAtAll_NoAnswer) {
    for (const char* text : {"", "{", "[]", "{\"id\":\"\"}", "{\"id\":5}"})
        desk->take(text, clock);
    EXPECT_TRUE(results().empty());
}

TEST_F(CommandDesk, ConfigurationChange_LeavesRoomForOthersAndEndsLater) {
    sCommand change = command("change", COMMAND_CONFIG);
    change.file = "CM_PASSWORD=secret\n";
    take(change);
    desk->noteChanging(*desk->start(clock), clock);
    EXPECT_EQ(store->command("change")->text.find("secret"), std::string::npos);
    desk->noteStarted(change, clock);
    desk->noteStarted(change, clock);
    EXPECT_EQ(results(), tList{"change started"}) << "once";
    take(command("other"));
    ASSERT_TRUE(desk->start(clock));
    sCommand second = change;
    second.id = "second";
    take(second);
    EXPECT_EQ(results(), tList{"second refused"});
    open();
    ASSERT_TRUE(desk->changing()) << "a restart of the agent does not end it";
    EXPECT_EQ(desk->changing()->id, "change");
    results();
    desk->end(*desk->changing(), {eResult::ROLLED_BACK, "", {}, "", false}, clock);
    EXPECT_EQ(results(), tList{"change rolled_back"});
    EXPECT_FALSE(desk->changing());
}
