#include "fleet/campaign.h"

#include <gtest/gtest.h>

namespace {

constexpr time_t NOW = 1795246938;

class Campaign : public testing::Test {
  protected:
    Campaign() {
        for (const char* name : {"a", "b", "c"}) {
            setup.order.emplace_back(name);
            sCommand& command = setup.commands[name];
            command.id = std::string("id.") + name;
            command.by = "anna@desk";
            command.name = COMMAND_RELOAD;
            command.slot = 1;
        }
        setup.wave = 2;
    }
    void start() {
        campaign = std::make_unique<cCampaign>(
            setup,
            [this](const std::string& topic, const std::string& payload) {
                sent.push_back(topic);
                commands.push_back(payload);
                return 1;
            },
            [this](const sAnswer& answer) { answers.push_back(answer); });
        campaign->turn(NOW);
    }
    static sResult resultOf(const std::string& name, eResult status = eResult::DONE) {
        sResult result;
        result.id = {"1f0c9a2b", 1};
        result.time = NOW;
        result.command = "id." + name;
        result.name = COMMAND_RELOAD;
        result.by = "anna@desk";
        result.status = status;
        result.text = "so it is";
        return result;
    }
    void take(const std::string& from, const sResult& result) {
        campaign->take(from, resultText(result));
    }

    cCampaign::sSetup setup;
    std::unique_ptr<cCampaign> campaign;
    std::vector<std::string> sent;
    std::vector<std::string> commands;
    std::vector<sAnswer> answers;
};

}  // namespace

TEST_F(Campaign, EachWave_HasItsOwnDeadline) {
    start();
    EXPECT_EQ(sent, (std::vector<std::string>{"cellslot/1/a/command", "cellslot/1/b/command"}));
    EXPECT_EQ(parseCommand(commands[0]).command.deadline, NOW + 600);
    take("a", resultOf("a"));
    take("b", resultOf("b"));
    campaign->turn(NOW + 50);
    ASSERT_EQ(sent.size(), 3u);
    EXPECT_EQ(parseCommand(commands[2]).command.deadline, NOW + 650);
    take("c", resultOf("c", eResult::REFUSED));
    EXPECT_TRUE(campaign->waves().isOver());
    EXPECT_EQ(campaign->waves().failed(), 1u);
}

TEST_F(Campaign, StepOnTheWay_IsNoAnswer) {
    start();
    take("a", resultOf("a", eResult::STARTED));
    EXPECT_TRUE(answers.empty());
    take("a", resultOf("a", eResult::CONFIRMED));
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_TRUE(answers[0].isSuccess);
}

TEST_F(Campaign, AnswersOfStrangersAndRepetitions_DoNotCount) {
    start();
    take("b", resultOf("a"));
    take("z", resultOf("z"));
    campaign->take("a", "rubbish");
    EXPECT_TRUE(answers.empty());
    take("a", resultOf("a"));
    take("a", resultOf("a", eResult::FAILED));
    EXPECT_EQ(answers.size(), 1u);
    EXPECT_EQ(campaign->waves().failed(), 0u);
}

TEST_F(Campaign, Silence_IsGivenUpAfterTheDeadline) {
    start();
    campaign->turn(NOW + 600 + cCampaign::GRACE_S);
    EXPECT_TRUE(answers.empty());
    campaign->turn(NOW + 601 + cCampaign::GRACE_S);
    EXPECT_EQ(answers.size(), 2u);
    EXPECT_EQ(answers[0].text.substr(0, 9), NO_ANSWER);
    EXPECT_EQ(sent.back(), "cellslot/1/c/command");
}

TEST_F(Campaign, Configuration_MayTakeItsTimeToConfirm) {
    for (auto& [name, command] : setup.commands) {
        command.name = COMMAND_CONFIG;
        command.file = "x";
        command.confirmS = 300;
    }
    start();
    campaign->turn(NOW + 601 + cCampaign::GRACE_S + 300);
    EXPECT_TRUE(answers.empty());
}

TEST_F(Campaign, AfterALostLine_TheSameIsSentAgain) {
    start();
    take("a", resultOf("a"));
    campaign->lineIsBack(NOW + 5);
    ASSERT_EQ(commands.size(), 3u);
    EXPECT_EQ(commands[2], commands[1]);
    sResult repeated = resultOf("b", eResult::REPEATED);
    repeated.text = std::string(REPEATED_BEGINS) + "done: as asked";
    take("b", repeated);
    EXPECT_EQ(campaign->waves().succeeded(), 2u);
}

TEST_F(Campaign, RepeatedFailure_IsAFailure) {
    start();
    sResult repeated = resultOf("b", eResult::REPEATED);
    repeated.text = std::string(REPEATED_BEGINS) + "failed: no modem";
    take("b", repeated);
    EXPECT_EQ(campaign->waves().failed(), 1u);
}

TEST_F(Campaign, NoAnswer_TheSameIsAskedAgainAfterGrowingPauses) {
    start();
    take("a", resultOf("a"));
    std::vector<time_t> times;
    for (time_t passed = 0; passed <= 660; ++passed) {
        const size_t before = sent.size();
        campaign->turn(NOW + passed);
        if (sent.size() == before) continue;
        times.push_back(passed);
        EXPECT_EQ(sent.back(), "cellslot/1/b/command");
        EXPECT_EQ(commands.back(), commands[1]);
    }
    EXPECT_EQ(times, (std::vector<time_t>{30, 90, 210, 450}));
}

TEST_F(Campaign, Parts_ArePutTogetherInTheirOrder) {
    start();
    sResult part = resultOf("a");
    part.parts = 3;
    for (const int number : {3, 1, 1, 2}) {
        EXPECT_TRUE(answers.empty());
        part.part = number;
        part.output = std::string(3, static_cast<char>('0' + number));
        take("a", part);
    }
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].output, "111222333");
}

TEST_F(Campaign, TooManyParts_AreNoAnswer) {
    start();
    sResult part = resultOf("a");
    part.parts = cAnswers::PARTS_MAX + 1;
    for (int number = 1; number <= part.parts; ++number) {
        part.part = number;
        take("a", part);
    }
    EXPECT_TRUE(answers.empty());
}

TEST_F(Campaign, PartsOfAnotherAnswer_AreNotMixedIn) {
    start();
    sResult part = resultOf("a");
    part.parts = 3;
    for (const int number : {1, 2}) {
        part.part = number;
        part.output = "old";
        take("a", part);
    }
    sResult repeated = resultOf("a", eResult::REPEATED);
    repeated.text = std::string(REPEATED_BEGINS) + "done: as asked";
    take("a", repeated);
    ASSERT_EQ(answers.size(), 1u);
    EXPECT_EQ(answers[0].output, "");
}

TEST_F(Campaign, AnswerAfterItWasGivenUp_IsLateAndStaysAFailure) {
    start();
    campaign->turn(NOW + 601 + cCampaign::GRACE_S);
    take("a", resultOf("a"));
    ASSERT_EQ(answers.size(), 3u);
    EXPECT_FALSE(answers[0].isLate);
    EXPECT_TRUE(answers[2].isLate);
    EXPECT_EQ(campaign->waves().failed(), 2u);
    EXPECT_EQ(campaign->waves().succeeded(), 0u);
}

TEST_F(Campaign, LineBackAfterTheDeadline_AsksOnceMoreBeforeGivingUp) {
    start();
    const time_t back = NOW + 2000;
    campaign->lineIsBack(back);
    EXPECT_EQ(sent.size(), 4u);
    campaign->turn(back + cCampaign::GRACE_S);
    EXPECT_TRUE(answers.empty());
    campaign->turn(back + cCampaign::GRACE_S + 1);
    EXPECT_EQ(answers.size(), 2u);
}

TEST_F(Campaign, LineThatStaysAway_EndsItAfterTheWavesTime) {
    start();
    campaign->turnWithoutLine(NOW + 600 + cCampaign::GRACE_S);
    EXPECT_FALSE(campaign->waves().isOver());
    campaign->turnWithoutLine(NOW + 601 + cCampaign::GRACE_S);
    EXPECT_TRUE(campaign->waves().isOver());
    EXPECT_EQ(campaign->waves().failed(), 2u);
    EXPECT_EQ(campaign->waves().notAsked(), std::vector<std::string>{"c"});
    EXPECT_EQ(sent.size(), 2u);
}

TEST_F(Campaign, LineAwayBeforeTheFirstWave_IsWaitedFor) {
    campaign = std::make_unique<cCampaign>(
        setup, [](const std::string&, const std::string&) { return 1; }, [](const sAnswer&) {});
    campaign->turnWithoutLine(NOW + 100000);
    EXPECT_FALSE(campaign->waves().isOver());
}
