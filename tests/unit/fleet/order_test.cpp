#include "fleet/order.h"

#include <gtest/gtest.h>

#include "cli/base/failure.h"
#include "tests/unit/fleet/made_fleet.h"

namespace {

using tWords = std::vector<std::string>;

std::string refusal(const tWords& words, const sOrderOptions& options = {}) {
    try {
        readOrder(words, options);
    } catch (const cFailure& failure) {
        return failure.what();
    }
    return "";
}

}  // namespace

TEST(Order, WordsUpToACommand_AreNames) {
    const sSendWords words = splitWords({"pump-1", "p*", "sms", "+49", "data"});
    EXPECT_EQ(words.names, (tWords{"pump-1", "p*"}));
    EXPECT_EQ(words.command, (tWords{"sms", "+49", "data"}));
    EXPECT_TRUE(splitWords({"pump-1"}).command.empty());
}

TEST(Order, EachForm_IsACommandThatGatewaysTake) {
    cTempFolder folder;
    writeFile(folder / "c", "CM_APN=internet\n");
    for (const tWords& words : std::vector<tWords>{{"data", "auto"},
                                                   {"reload"},
                                                   {"sms", "+4912345", "hello"},
                                                   {"at", "AT+CSQ"},
                                                   {"doctor"},
                                                   {"history"},
                                                   {"report"},
                                                   {"config", folder / "c"}})
        EXPECT_EQ(readOrder(words, {}).name, words.front());
}

TEST(Order, WrongWords_SayWhatIsExpected) {
    EXPECT_NE(refusal({}).find("the command is missing; expected data"), std::string::npos);
    EXPECT_NE(refusal({"dance"}).find("'dance' is not a command"), std::string::npos);
    EXPECT_EQ(refusal({"data"}), "expected: data on|off|auto");
    EXPECT_EQ(refusal({"sms", "1", "two", "words"}),
              "expected: sms NUMBER TEXT (a text with blanks needs quotes)");
    EXPECT_NE(refusal({"data", "yes"}).find("data on|off|auto: "), std::string::npos);
    EXPECT_NE(refusal({"config", "/nowhere/at/all"}).find("/nowhere/at/all"), std::string::npos);
    sOrderOptions since;
    since.since = "24h";
    EXPECT_NE(refusal({"reload"}, since), "");
    EXPECT_EQ(refusal({"history"}, since), "");
}

TEST(Order, LongConfiguration_IsRefused) {
    cTempFolder folder;
    writeFile(folder / "c", std::string(CONFIG_FILE_MAX + 1, '#'));
    EXPECT_NE(refusal({"config", folder / "c"}).find("longer than 32 kB"), std::string::npos);
}

TEST(Order, Slot_IsTheOnlyOneOrTheChosenOne) {
    const cFleet fleet = madeFleet();
    const sCommand reload = readOrder({"reload"}, {});
    EXPECT_EQ(commandFor(fleet.gateways().at("healthy"), reload, "x.1").slot, 1);
    EXPECT_THROW(commandFor(fleet.gateways().at("two"), reload, "x.1"), cFailure);
    sOrderOptions second;
    second.slot = 2;
    EXPECT_EQ(commandFor(fleet.gateways().at("two"), readOrder({"reload"}, second), "x").slot, 2);
    EXPECT_FALSE(commandFor(fleet.gateways().at("two"), readOrder({"doctor"}, {}), "x").slot);
}
