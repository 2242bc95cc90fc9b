#include "le910sim/recording.h"

#include <gtest/gtest.h>

#include <sstream>

namespace le910sim {

namespace {

const std::string HEADER = R"({"recording":1,"program":"cellslotd 1.0","slot":1,"began":"a"})"
                           "\n";

sRecording readText(const std::string& text) {
    std::istringstream input(text);
    return readRecording(input, "file");
}

std::string errorOf(const std::string& text) {
    try {
        readText(text);
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
    return "no error";
}

}  // namespace

TEST(Recording, EveryKindOfLine_IsAnEventWithItsLineAndTime) {
    const sRecording recording = readText(HEADER + R"({"ms":0,"mark":"start","arguments":[]})"
                                                   "\n"
                                                   R"({"ms":1,"at":"open"})"
                                                   "\n"
                                                   R"({"ms":2,"at":"write","data":"AT\r"})"
                                                   "\n"
                                                   R"({"ms":30,"gps":"read","data":"\r\nOK\r\n"})"
                                                   "\n"
                                                   R"({"ms":31,"at":"hangup","error":5})"
                                                   "\n"
                                                   R"({"ms":31,"at":"close"})"
                                                   "\n"
                                                   R"({"ms":32,"at":"open","error":2})"
                                                   "\n");
    ASSERT_EQ(recording.events.size(), 7U);
    const eRecordedKind kinds[] = {eRECORDED_MARK,       eRECORDED_OPEN,   eRECORDED_WRITE,
                                   eRECORDED_READ,       eRECORDED_HANGUP, eRECORDED_CLOSE,
                                   eRECORDED_OPEN_FAILED};
    for (size_t i = 0; i < std::size(kinds); ++i) {
        EXPECT_EQ(recording.events[i].kind, kinds[i]) << i;
        EXPECT_EQ(recording.events[i].line, i + 2);
    }
    EXPECT_EQ(recording.events[2].bytes, "AT\r");
    EXPECT_EQ(recording.events[3].port, ePORT_GPS);
    EXPECT_EQ(recording.events[3].ms, 30U);
    EXPECT_EQ(recording.endMs(), 32U);
    EXPECT_FALSE(recording.torn);
    EXPECT_EQ(recording.header["slot"], 1);
}

TEST(Recording, CarriageReturnOfItsCommand_IsAnEventOfItsOwn) {
    const sRecording recording = readText(HEADER + R"({"ms":5,"at":"write","data":"AT\r","cr":10})"
                                                   "\n"
                                                   R"({"ms":20,"at":"read","data":"OK"})"
                                                   "\n");
    ASSERT_EQ(recording.events.size(), 3U);
    EXPECT_EQ(recording.events[0].bytes, "AT");
    EXPECT_EQ(recording.events[0].ms, 5U);
    EXPECT_EQ(recording.events[1].kind, eRECORDED_WRITE);
    EXPECT_EQ(recording.events[1].bytes, "\r");
    EXPECT_EQ(recording.events[1].ms, 15U);
    EXPECT_EQ(recording.events[1].line, 2U);
    EXPECT_NE(errorOf(HEADER + R"({"ms":5,"at":"write","data":"AT\r","cr":-1})" + "\n"),
              "no error");
}

TEST(Recording, EveryByte_SurvivesWritingAndReading) {
    sRecordedEvent event;
    event.kind = eRECORDED_READ;
    event.port = ePORT_GPS;
    event.ms = 7;
    for (int byte = 0; byte < 256; ++byte)
        event.bytes += static_cast<char>(byte);
    const sRecording recording = readText(HEADER + recordedLine(event));
    ASSERT_EQ(recording.events.size(), 1U);
    EXPECT_EQ(recording.events[0].bytes, event.bytes);
    EXPECT_EQ(recording.events[0].port, ePORT_GPS);
    EXPECT_EQ(recordedLine(recording.events[0]), recordedLine(event));
}

TEST(Recording, LineOfAMark_BeginsWithItsTime) {
    sRecordedEvent event;
    event.mark = {{"mark", "signal"}, {"name", "SIGUSR2"}, {"ms", 1}};
    event.ms = 9;
    EXPECT_EQ(recordedLine(event), "{\"ms\":9,\"mark\":\"signal\",\"name\":\"SIGUSR2\"}\n");
}

TEST(Recording, LastLineWithoutItsEnd_IsLeftOut) {
    const std::string line = R"({"ms":2,"at":"write","data":"AT\r"})";
    const sRecording recording = readText(HEADER + line + "\n" + line);
    EXPECT_EQ(recording.events.size(), 1U);
    EXPECT_TRUE(recording.torn);
}

TEST(Recording, CutAtEveryByte_IsRead) {
    const std::string text = HEADER + R"({"ms":2,"at":"write","data":"AT\r"})" + "\n" +
                             R"({"ms":9,"at":"read","data":"\r\nOK\r\n"})" + "\n";
    for (size_t size = HEADER.size(); size <= text.size(); ++size)
        EXPECT_LE(readText(text.substr(0, size)).events.size(), 2U) << size;
}

TEST(Recording, ZeroBytesAtTheEnd_AreLeftOut) {
    const sRecording recording = readText(HEADER + std::string(40, '\0') + "\n");
    EXPECT_TRUE(recording.torn);
}

TEST(Recording, UnknownKeysAndEvents_AreLeftOut) {
    const sRecording recording =
        readText(HEADER + R"({"ms":1,"at":"break","x":1})" + "\n" + R"({"ms":1,"weather":"fine"})" +
                 "\n" + R"({"ms":1,"at":"open","x":[1]})" + "\n");
    ASSERT_EQ(recording.events.size(), 1U);
    EXPECT_EQ(recording.events[0].kind, eRECORDED_OPEN);
}

TEST(Recording, SecondFile_GoesOnWithTheTime) {
    const sRecording recording = readText(HEADER + R"({"ms":100,"at":"open"})" + "\n" + HEADER +
                                          R"({"ms":150,"at":"close"})" + "\n");
    ASSERT_EQ(recording.events.size(), 2U);
    EXPECT_EQ(recording.events[1].ms, 150U);
}

TEST(Recording, SecondRun_IsCountedOn) {
    const std::string other = R"({"recording":1,"began":"b"})";
    const sRecording recording =
        readText(HEADER + R"({"ms":100,"at":"open"})" + "\n" + other + "\n" +
                 R"({"ms":5,"at":"close"})" + "\n" + R"({"ms":6,"at":"open"})" + "\n");
    ASSERT_EQ(recording.events.size(), 3U);
    EXPECT_EQ(recording.events[1].ms, 105U);
    EXPECT_EQ(recording.events[2].ms, 106U);
}

TEST(Recording, WhatIsWrong_IsSaidWithFileAndLine) {
    const struct {
        std::string text;
        std::string error;
    } CASES[] = {
        {"", "file:1: found the end of the file, expected a first line with \"recording\": 1"},
        {R"({"ms":1,"at":"open"})"
         "\n",
         R"(file:1: found "{\"ms\":1,\"at\":\"open\"}", expected a first line with "recording": 1)"},
        {R"({"recording":2})"
         "\n",
         "file:1: found \"recording\": 2, expected version 1, the only one that is known"},
        {HEADER + R"({"recording":1,"slot":2})" + "\n",
         "file:2: found \"slot\": 2, expected slot 1 as before: a recording is of one modem"},
        {HEADER + R"({"ms":1,"mark":)" + std::string(400000, '[') + std::string(400000, ']') +
             "}\n",
         "file:2: found values that are nested more than 8 times, expected fewer"},
        {HEADER + "hello\n" + HEADER, "file:2: found \"hello\", expected a JSON object"},
        {HEADER + "\n" + HEADER, "file:2: found an empty line, expected a JSON object"},
        {HEADER + R"({"at":"open"})" + "\n",
         "file:2: found no key \"ms\", expected \"ms\": milliseconds since the begin"},
        {HEADER + R"({"ms":-1,"at":"open"})" + "\n",
         "file:2: found \"ms\": \"-1\", expected a whole number of milliseconds"},
        {HEADER + R"({"ms":9,"at":"open"})" + "\n" + R"({"ms":8,"at":"close"})" + "\n",
         "file:3: found \"ms\": 8 after 9, expected a time that is not earlier than that of the "
         "line before"},
        {HEADER + R"({"ms":1,"at":"write"})" + "\n",
         "file:2: found no key \"data\", expected \"data\": the bytes"},
        {HEADER + R"({"ms":1,"at":"write","data":3})" + "\n",
         "file:2: found \"data\": \"3\", expected a text"},
        {HEADER + R"({"ms":1,"at":"write","data":"\u0100"})" + "\n",
         "file:2: found a character above U+00FF, expected a byte, written as the character of "
         "its number"},
        {HEADER + R"({"ms":1,"at":7})" + "\n",
         "file:2: found \"7\", expected what happened at the port, as a text"},
        {HEADER + R"({"ms":1,"mark":7})" + "\n", "file:2: found \"mark\": 7, expected a text"},
        {HEADER + "\"" + std::string(RECORDING_LINE_MAX, 'x') + "\"\n",
         "file:2: found a line of more than 1048576 bytes, expected a shorter one"},
    };
    for (const auto& one : CASES)
        EXPECT_EQ(errorOf(one.text), one.error);
}

TEST(Recording, FileThatIsNotThere_IsNamed) {
    EXPECT_THROW(
        {
            try {
                readRecording("/nowhere/x");
            } catch (const std::runtime_error& problem) {
                EXPECT_STREQ(problem.what(), "cannot read /nowhere/x");
                throw;
            }
        },
        std::runtime_error);
}

}  // namespace le910sim
