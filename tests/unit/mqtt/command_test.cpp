#include "mqtt/command.h"

#include <gtest/gtest.h>

#include "cli/base/utc_time.h"

namespace {

constexpr const char* START = R"({"id":"a-1","by":"anna","deadline":"2026-11-22T12:00:00Z","do":")";

std::string refusal(const std::string& nameAndArgs) {
    const sParsedCommand parsed = parseCommand(START + nameAndArgs + "}");
    EXPECT_EQ(parsed.use, eCommandUse::REFUSED) << nameAndArgs;
    EXPECT_EQ(parsed.command.id, "a-1");
    return parsed.why;
}

sCommand example(const char* name) {
    sCommand command;
    command.id = "a-1";
    command.by = "anna";
    command.deadline = *parseUtcText("2026-11-22T12:00:00Z");
    command.name = name;
    return command;
}

void expectReadBack(const sCommand& written) {
    const sParsedCommand parsed = parseCommand(commandText(written));
    ASSERT_EQ(parsed.use, eCommandUse::GOOD) << parsed.why << commandText(written);
    EXPECT_EQ(parsed.command.id, written.id);
    EXPECT_EQ(parsed.command.by, written.by);
    EXPECT_EQ(parsed.command.deadline, written.deadline);
    EXPECT_EQ(commandText(parsed.command), commandText(written));
}

}  // namespace

TEST(Command, EachCommand_IsReadBack) {
    sCommand command = example(COMMAND_DATA);
    command.slot = 2;
    command.want = "auto";
    EXPECT_EQ(commandText(command),
              std::string(START) + R"(data","args":{"slot":2,"want":"auto"}})");
    expectReadBack(command);

    command = example(COMMAND_SMS);
    command.slot = 1;
    command.to = "+49170";
    command.text = "a\nb \xc3\xa4";
    expectReadBack(command);

    command = example(COMMAND_AT);
    command.slot = 1;
    command.at = "AT#RFSTS";
    expectReadBack(command);

    command = example(COMMAND_HISTORY);
    command.since = "24h";
    command.view = "outages";
    expectReadBack(command);

    command = example(COMMAND_CONFIG);
    command.slot = 1;
    command.file = std::string(CONFIG_FILE_MAX, 'x');
    command.confirmS = CONFIRM_GREATEST_S;
    expectReadBack(command);

    expectReadBack(example(COMMAND_DOCTOR));
    command = example(COMMAND_REPORT);
    command.slot = 3;
    expectReadBack(command);
    command.name = COMMAND_RELOAD;
    expectReadBack(command);
}

TEST(Command, WithoutAnIdOrJson_NobodyGetsAnAnswer) {
    for (const std::string& text :
         {std::string("data on"), std::string("[]"), std::string("{}"), std::string(R"({"id":""})"),
          std::string(R"({"id":5,"by":"a"})"), std::string(R"({"id":"a b"})"),
          R"({"id":")" + std::string(65, 'a') + R"("})",
          std::string(START) + "doctor\"}" + std::string(64 * 1024, ' ')})
        EXPECT_EQ(parseCommand(text).use, eCommandUse::UNUSABLE) << text.substr(0, 80);
}

TEST(Command, WrongFields_AreNamed) {
    EXPECT_EQ(refusal("format\""),
              "unknown command 'format'; known are data, reload, sms, at, doctor, history, report, "
              "config");
    EXPECT_EQ(refusal("data\""), "the argument 'slot' is missing");
    EXPECT_EQ(refusal(R"(data","args":[])"), "'args' is not an object");
    EXPECT_EQ(refusal(R"(data","args":{"slot":4,"want":"on"})"),
              "the argument 'slot' is not a number from 1 to 3");
    EXPECT_EQ(refusal(R"(data","args":{"slot":"1","want":"on"})"),
              "the argument 'slot' is not a number from 1 to 3");
    EXPECT_EQ(refusal(R"(data","args":{"slot":1})"), "the argument 'want' is missing");
    EXPECT_EQ(refusal(R"(data","args":{"slot":1,"want":"of"})"),
              "the argument 'want' is 'of'; expected one of: on off auto");
    EXPECT_EQ(refusal(R"(data","args":{"slot":1,"want":7})"), "the argument 'want' is not a text");
    EXPECT_EQ(refusal(R"(data","args":{"slot":1,"want":""})"), "the argument 'want' is empty");
    EXPECT_EQ(refusal(R"(data","args":{"slot":1,"want":"on","text":"x"})"),
              "the command data has no argument 'text'");
    EXPECT_EQ(refusal(R"(sms","args":{"slot":1,"to":"1","text":"a\u0000b"})"),
              "the argument 'text' has a zero octet");
    EXPECT_EQ(refusal(R"(at","args":{"slot":1,"command":")" + std::string(401, 'A') + "\"}"),
              "the argument 'command' is longer than 400 octets");
    EXPECT_EQ(refusal(R"(config","args":{"slot":1,"file":"x","confirm_seconds":29})"),
              "the argument 'confirm_seconds' is not a number from 30 to 3600");
}

TEST(Command, WhoAsksAndWhen_MustBeSaid) {
    EXPECT_EQ(parseCommand(R"({"id":"a","do":"doctor","deadline":"2026-11-22T12:00:00Z"})").why,
              "'by' is not a name of 1 to 64 printable characters");
    EXPECT_EQ(parseCommand("{\"id\":\"a\",\"do\":\"doctor\",\"deadline\":\"2026-11-22T12:00:00Z\","
                           "\"by\":\"a\\u001b[2J\"}")
                  .why,
              "'by' is not a name of 1 to 64 printable characters");
    EXPECT_EQ(parseCommand(R"({"id":"a","do":"doctor","by":"anna"})").why,
              "'deadline' is not a time as 2026-11-22T19:30:00Z");
    EXPECT_EQ(parseCommand(R"({"id":"a","do":"doctor","by":"anna","deadline":"tomorrow"})").use,
              eCommandUse::REFUSED);
}

TEST(Command, Result_IsReadBack) {
    for (const eResult status :
         {eResult::DONE, eResult::FAILED, eResult::REFUSED, eResult::EXPIRED, eResult::REPEATED,
          eResult::INTERRUPTED, eResult::STARTED, eResult::CONFIRMED, eResult::ROLLED_BACK}) {
        sResult written;
        written.id = {"1f0c9a2b", 9};
        written.time = *parseUtcText("2026-11-22T12:00:01Z");
        written.command = "a-1";
        written.name = "doctor";
        written.by = "anna";
        written.status = status;
        written.text = "Nothing is wrong.";
        written.exit = 0;
        written.output = std::string("\x00\xff bytes", 8);
        written.isBinary = true;
        written.part = 2;
        written.parts = 3;
        const std::optional<sResult> read = parseResult(resultText(written));
        ASSERT_TRUE(read) << resultText(written);
        EXPECT_EQ(read->id.number, 9u);
        EXPECT_EQ(read->command, "a-1");
        EXPECT_EQ(read->status, status);
        EXPECT_EQ(read->text, written.text);
        EXPECT_EQ(read->exit, 0);
        EXPECT_EQ(read->output, written.output);
        EXPECT_EQ(read->part, 2);
        EXPECT_EQ(read->parts, 3);
    }
}

TEST(Command, LongestPartOfAResult_IsStillAMessage) {
    sResult written;
    written.id = {"1f0c9a2b", 9};
    written.command = "a-1";
    written.output = std::string(RESULT_PART_MAX, '\xff');
    written.isBinary = true;
    const std::optional<sResult> read = parseResult(resultText(written));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->output, written.output);
}

TEST(Command, OddResult_IsNotRead) {
    for (const char* text :
         {"{}", R"({"id":"1f0c9a2b-9","time":"2026-11-22T12:00:01Z","command":"a"})",
          R"({"id":"1f0c9a2b-9","time":"2026-11-22T12:00:01Z","command":"a","status":"fine"})",
          R"({"id":"1f0c9a2b-9","time":"2026-11-22T12:00:01Z","command":"","status":"done"})",
          R"({"id":"x","time":"2026-11-22T12:00:01Z","command":"a","status":"done"})"})
        EXPECT_FALSE(parseResult(text)) << text;
}
