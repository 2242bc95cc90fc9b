#include "le910sim/replay.h"

#include <gtest/gtest.h>

#include <sstream>

namespace le910sim {

namespace {

// A recording, written event by event.
class cMade {
  public:
    cMade& write(uint64_t ms, const std::string& bytes, ePort port = ePORT_AT) {
        return add(eRECORDED_WRITE, ms, port, bytes);
    }
    cMade& read(uint64_t ms, const std::string& bytes, ePort port = ePORT_AT) {
        return add(eRECORDED_READ, ms, port, bytes);
    }
    cMade& add(eRecordedKind kind, uint64_t ms, ePort port = ePORT_AT,
               const std::string& bytes = "") {
        sRecordedEvent event;
        event.kind = kind;
        event.ms = ms;
        event.port = port;
        event.bytes = bytes;
        event.line = m_recording.events.size() + 2;
        m_recording.events.push_back(event);
        return *this;
    }
    // A command with an answer 20 ms later.
    cMade& exchange(uint64_t ms, const std::string& command, const std::string& answer) {
        return write(ms, command + "\r").read(ms + 20, command + "\r\r\n" + answer + "\r\n");
    }
    cReplay replay(double speed = 1, bool strict = false) {
        m_recording.name = "made";
        return cReplay(m_recording, speed, strict);
    }

  private:
    sRecording m_recording;
};

// What the modem sends within some time, with the moment of each piece.
std::string outputUntil(cReplay& replay, uint64_t fromMs, uint64_t toMs) {
    std::string text;
    for (uint64_t ms = fromMs; ms <= toMs; ++ms) {
        replay.advance(ms);
        const std::string bytes = replay.takeOutput(ePORT_AT);
        if (!bytes.empty()) text += "[" + std::to_string(ms) + "]" + bytes;
    }
    return text;
}

cMade threeCommands() {
    cMade made;
    made.exchange(0, "AT+CSQ", "first").exchange(100, "AT+CREG?", "second");
    made.exchange(200, "AT+CSQ", "third");
    return made;
}

}  // namespace

TEST(Replay, Command_IsAnsweredAfterTheSameTimeInTheSamePieces) {
    cReplay replay =
        cMade().write(100, "AT+CSQ").write(110, "\r").read(140, "AT+C").read(160, "SQ\r").replay();
    replay.receive(ePORT_AT, "AT+CSQ\r", 5000);
    EXPECT_EQ(outputUntil(replay, 5000, 5100), "[5030]AT+C[5050]SQ\r");
    EXPECT_TRUE(replay.isOver());
    EXPECT_EQ(replay.commands(), std::vector<std::string>{"AT+CSQ"});
    EXPECT_EQ(replay.differences(), 0U);
}

TEST(Replay, Speed_DividesEveryTime) {
    cReplay replay = cMade().write(100, "AT\r").read(140, "a").read(180, "b").replay(4);
    replay.receive(ePORT_AT, "AT\r", 1000);
    EXPECT_EQ(outputUntil(replay, 1000, 1100), "[1010]a[1020]b");
}

TEST(Replay, UnsolicitedLine_ComesAfterTheExchangeBeforeIt) {
    cReplay replay = cMade().exchange(0, "AT", "OK").read(700, "\r\nRING\r\n").replay();
    replay.receive(ePORT_AT, "AT\r", 10000);
    EXPECT_EQ(outputUntil(replay, 10000, 10699), "[10020]AT\r\r\nOK\r\n");
    EXPECT_EQ(outputUntil(replay, 10700, 10700), "[10700]\r\nRING\r\n");
}

TEST(Replay, NextCommandIsEarly_WhatWasStillToComeComesFirst) {
    cReplay replay = cMade().write(0, "AT\r").read(900, "late ").write(1000, "ATI\r").replay();
    replay.receive(ePORT_AT, "AT\r", 0);
    replay.receive(ePORT_AT, "ATI\r", 50);
    EXPECT_EQ(replay.takeOutput(ePORT_AT), "late ");
    EXPECT_EQ(replay.differences(), 0U);
}

TEST(Replay, Silence_StaysSilence) {
    cReplay replay = cMade().write(0, "AT\r").exchange(5000, "ATI", "OK").replay();
    replay.receive(ePORT_AT, "AT\r", 0);
    EXPECT_EQ(outputUntil(replay, 0, 60000), "");
}

TEST(Replay, HangUp_ComesWhenItCameAndEndsBeforeThePortWasOpened) {
    cReplay replay = cMade()
                         .exchange(0, "AT", "OK")
                         .add(eRECORDED_HANGUP, 500)
                         .add(eRECORDED_CLOSE, 500)
                         .add(eRECORDED_OPEN, 6500)
                         .exchange(7000, "ATI", "OK")
                         .replay();
    replay.receive(ePORT_AT, "AT\r", 100);
    replay.advance(599);
    EXPECT_TRUE(replay.isPresent(ePORT_AT));
    replay.advance(600);
    EXPECT_FALSE(replay.isPresent(ePORT_AT));
    EXPECT_TRUE(replay.isPresent(ePORT_GPS));
    replay.advance(6099);
    EXPECT_FALSE(replay.isPresent(ePORT_AT));
    replay.advance(6100);
    EXPECT_TRUE(replay.isPresent(ePORT_AT));
    replay.receive(ePORT_AT, "ATI\r", 7100);
    EXPECT_EQ(replay.differences(), 0U);
}

TEST(Replay, CommandThatTheHangUpCut_IsNotExpected) {
    cReplay replay = cMade()
                         .exchange(0, "AT", "OK")
                         .write(400, "AT+C")
                         .add(eRECORDED_HANGUP, 410)
                         .add(eRECORDED_OPEN, 6500)
                         .exchange(7000, "ATI", "OK")
                         .replay(1, true);
    replay.receive(ePORT_AT, "AT\r", 0);
    replay.receive(ePORT_AT, "AT+C", 400);
    replay.advance(6000);
    replay.receive(ePORT_AT, "ATI\r", 7000);
    EXPECT_FALSE(replay.isStopped()) << replay.firstDifference();
}

TEST(Replay, ProgramIsStuckBeforeAHangUp_HangUpComesAllTheSame) {
    cReplay replay = cMade()
                         .exchange(0, "AT", "OK")
                         .exchange(50, "ATI", "OK")
                         .add(eRECORDED_HANGUP, 500)
                         .replay();
    replay.receive(ePORT_AT, "AT\r", 0);
    replay.advance(5000);
    EXPECT_TRUE(replay.isPresent(ePORT_AT));
    replay.advance(5500);
    EXPECT_FALSE(replay.isPresent(ePORT_AT));
    EXPECT_EQ(replay.differences(), 1U);
}

TEST(Replay, PortThatCouldNotBeOpenedAtFirst_IsAwayUntilItCould) {
    cReplay replay = cMade()
                         .add(eRECORDED_OPEN_FAILED, 10)
                         .add(eRECORDED_OPEN, 4000)
                         .exchange(4100, "AT", "OK")
                         .replay();
    replay.advance(3000);
    EXPECT_FALSE(replay.isPresent(ePORT_AT));
    replay.advance(3500);
    EXPECT_TRUE(replay.isPresent(ePORT_AT));
}

TEST(Replay, CommandAskedAgain_GetsTheNearestEarlierAnswer) {
    cReplay replay = threeCommands().replay();
    replay.receive(ePORT_AT, "AT+CSQ\r", 0);
    outputUntil(replay, 0, 50);
    replay.receive(ePORT_AT, "AT+CSQ\r", 60);
    EXPECT_EQ(outputUntil(replay, 60, 100), "[80]AT+CSQ\r\r\nfirst\r\n");
    replay.receive(ePORT_AT, "AT+CREG?\r", 110);
    EXPECT_EQ(outputUntil(replay, 110, 200), "[130]AT+CREG?\r\r\nsecond\r\n");
    replay.receive(ePORT_AT, "AT+CSQ\r", 210);
    EXPECT_EQ(outputUntil(replay, 210, 300), "[230]AT+CSQ\r\r\nthird\r\n");
    EXPECT_EQ(replay.differences(), 1U);
}

TEST(Replay, CommandsLeftOut_TheReplayGoesOnAfterThem) {
    cReplay replay = threeCommands().replay();
    replay.receive(ePORT_AT, "AT+CREG?\r", 0);
    EXPECT_EQ(outputUntil(replay, 0, 50), "[20]AT+CREG?\r\r\nsecond\r\n");
    replay.receive(ePORT_AT, "AT+CSQ\r", 60);
    EXPECT_EQ(outputUntil(replay, 60, 100), "[80]AT+CSQ\r\r\nthird\r\n");
    EXPECT_TRUE(replay.isOver());
}

TEST(Replay, ManyCommandsLeftOut_ThePlaceIsFoundInTheEnd) {
    cMade made;
    for (int i = 0; i < 60; ++i)
        made.exchange(static_cast<uint64_t>(i) * 100, "AT#OLD=" + std::to_string(i), "OK");
    made.exchange(6000, "AT", "OK").exchange(6100, "ATI", "new");
    cReplay replay = made.replay();
    uint64_t ms = 0;
    for (; replay.differences() < 60 && !replay.isOver(); ms += 200) {
        replay.receive(ePORT_AT, "AT\r", ms);
        replay.receive(ePORT_AT, "ATI\r", ms + 100);
        replay.advance(ms + 150);
    }
    EXPECT_TRUE(replay.isOver());
    EXPECT_LE(replay.differences(), 60U);
}

TEST(Replay, CommandNeverRecorded_GetsErrorAndIsNamedOnce) {
    cReplay replay = threeCommands().replay();
    replay.receive(ePORT_AT, "AT#XYZ?\r", 0);
    EXPECT_EQ(replay.takeOutput(ePORT_AT), "AT#XYZ?\r\r\nERROR\r\n");
    replay.receive(ePORT_AT, "AT#XYZ?\r", 100);
    EXPECT_EQ(replay.unknown(), std::vector<std::string>{"AT#XYZ?"});
}

TEST(Replay, AfterTheEnd_CommandsGetTheirLastAnswer) {
    cReplay replay = threeCommands().replay(1, true);
    for (const char* command : {"AT+CSQ\r", "AT+CREG?\r", "AT+CSQ\r"})
        replay.receive(ePORT_AT, command, 0);
    outputUntil(replay, 0, 1000);
    EXPECT_TRUE(replay.isOver());
    replay.receive(ePORT_AT, "AT+CSQ\r", 2000);
    EXPECT_EQ(outputUntil(replay, 2000, 2100), "[2020]AT+CSQ\r\r\nthird\r\n");
    EXPECT_FALSE(replay.isStopped());
}

TEST(Replay, SecretInACommand_NeedNotBeTheRecordedOne) {
    cReplay replay = cMade().exchange(0, "AT+CPIN=\"0000\"", "OK").replay(1, true);
    replay.receive(ePORT_AT, "AT+CPIN=\"1234\"\r", 0);
    EXPECT_FALSE(replay.isStopped()) << replay.firstDifference();
    EXPECT_TRUE(replay.commands() == std::vector<std::string>{"AT+CPIN=\"1234\""});
}

// Stand-ins of numbers and messages cannot be computed from what they stand for.
TEST(Replay, IdentityInACommand_NeedNotBeTheRecordedOne) {
    const std::pair<const char*, const char*> commands[] = {
        {"AT+CMGS=\"+12025550123\"", "AT+CMGS=\"+98765432101\""},
        {"at+csca=\"5550101\"", "at+csca=\"1234567\""},
        {"0011000B912120\x1a", "0011000B919876\x1a"},
    };
    for (const auto& [recorded, sent] : commands) {
        cReplay replay = cMade().exchange(0, recorded, "OK").replay(1, true);
        replay.receive(ePORT_AT, sent + std::string("\r"), 0);
        EXPECT_FALSE(replay.isStopped()) << replay.firstDifference();
        cReplay other = cMade().exchange(0, recorded, "OK").replay(1, true);
        other.receive(ePORT_AT, sent + std::string("0\r"), 0);
        EXPECT_TRUE(other.isStopped()) << recorded;
    }
}

// A secret that one command has in it says nothing about the next.
TEST(Replay, SecretOfOneCommand_IsNotLookedForInTheNext) {
    cReplay replay = cMade()
                         .exchange(0, "AT+CPIN=\"1234\"", "OK")
                         .exchange(100, "AT+CGDCONT=1,\"IP\",\"1234\"", "OK")
                         .replay(1, true);
    replay.receive(ePORT_AT, "AT+CPIN=\"1234\"\r", 0);
    replay.receive(ePORT_AT, "AT+CGDCONT=1,\"IP\",\"5678\"\r", 100);
    EXPECT_TRUE(replay.isStopped());
}

TEST(Replay, LineFeedAfterACommand_IsNoPartOfTheNext) {
    cReplay replay = cMade().write(0, "AT\r\n").read(10, "OK").write(20, "ATI\r\n").replay(1, true);
    replay.receive(ePORT_AT, "AT\r\nATI\r\n", 0);
    EXPECT_FALSE(replay.isStopped()) << replay.firstDifference();
    EXPECT_TRUE(replay.isOver());
}

TEST(Replay, CommandAskedAgain_IsAnsweredAtTheSpeedOfTheReplay) {
    cReplay replay = cMade().exchange(0, "AT", "OK").replay(10);
    replay.receive(ePORT_AT, "AT\r", 0);
    outputUntil(replay, 0, 50);
    replay.receive(ePORT_AT, "AT\r", 60);
    EXPECT_EQ(outputUntil(replay, 60, 100), "[62]AT\r\r\nOK\r\n");
}

// There is no earlier answer, and the first later one is too far away to leave out what is between.
TEST(Replay, CommandRecordedMuchLater_GetsThatAnswerAndThePlaceStays) {
    cMade made;
    for (int i = 0; i < 30; ++i)
        made.exchange(static_cast<uint64_t>(i) * 100, "AT+CMGD=" + std::to_string(i), "OK");
    cReplay replay = made.exchange(9000, "ATI", "late").replay();
    replay.receive(ePORT_AT, "ATI\r", 0);
    EXPECT_EQ(outputUntil(replay, 0, 50), "[20]ATI\r\r\nlate\r\n");
    replay.receive(ePORT_AT, "AT+CMGD=0\r", 60);
    EXPECT_EQ(replay.differences(), 1U);
}

TEST(Replay, RecordedCommandAmongOthers_MakesTheWindowSmallAgain) {
    cMade made;
    for (int i = 0; i < 40; ++i)
        made.exchange(static_cast<uint64_t>(i) * 100, "AT+CMGD=" + std::to_string(i), "OK");
    cReplay replay = made.replay();
    for (int i = 0; i < 20; ++i)
        replay.receive(ePORT_AT, "AT+CSQ\r", 0);
    replay.receive(ePORT_AT, "AT+CMGD=0\r", 0);
    // 30 commands ahead: far beyond the window of a program that was in step.
    replay.receive(ePORT_AT, "AT+CMGD=31\r", 0);
    replay.receive(ePORT_AT, "AT+CMGD=1\r", 0);
    EXPECT_EQ(replay.differences(), 21U);
}

// What was on its way is lost with the port, on both sides.
TEST(Replay, HangUp_DropsWhatWasOnItsWay) {
    cReplay replay = cMade()
                         .exchange(0, "AT", "OK")
                         .exchange(50, "ATI", "OK")
                         .add(eRECORDED_HANGUP, 500)
                         .add(eRECORDED_OPEN, 6500)
                         .exchange(7000, "ATI", "OK")
                         .replay();
    replay.receive(ePORT_AT, "AT\r", 0);
    replay.receive(ePORT_AT, "ATI\r", 50);
    outputUntil(replay, 50, 490);
    replay.receive(ePORT_AT, "AT\r", 499);  // answered 20 ms later
    replay.receive(ePORT_AT, "AT", 499);
    replay.advance(6100);
    EXPECT_TRUE(replay.isPresent(ePORT_AT));
    EXPECT_EQ(replay.takeOutput(ePORT_AT), "");
    replay.receive(ePORT_AT, "ATI\r", 7000);
    EXPECT_EQ(replay.commands().back(), "ATI");
}

TEST(Replay, StrictAndStuckBeforeAHangUp_StopsThere) {
    cReplay replay = cMade()
                         .exchange(0, "AT", "OK")
                         .exchange(50, "ATI", "OK")
                         .add(eRECORDED_HANGUP, 500)
                         .replay(1, true);
    replay.receive(ePORT_AT, "AT\r", 0);
    replay.advance(5500);
    EXPECT_TRUE(replay.isStopped());
    EXPECT_TRUE(replay.isPresent(ePORT_AT));
    EXPECT_NE(replay.firstDifference().find("seen      nothing"), std::string::npos);
}

// Nothing was ever written: the port is away from the beginning, not when its opening failed.
TEST(Replay, PortThatWasNeverThereAtFirst_IsAwayFromTheBeginning) {
    cReplay replay = cMade()
                         .add(eRECORDED_OPEN_FAILED, 100)
                         .add(eRECORDED_OPEN, 300)
                         .exchange(4100, "AT", "OK")
                         .replay();
    replay.advance(0);
    EXPECT_FALSE(replay.isPresent(ePORT_AT));
    // Half of the time that it was away.
    replay.advance(199);
    EXPECT_FALSE(replay.isPresent(ePORT_AT));
    replay.advance(200);
    EXPECT_TRUE(replay.isPresent(ePORT_AT));
}

// A program tries again and again: an opening that comes late says that the port was away.
TEST(Replay, PortOpenedLongAfterItWasClosed_WasAway) {
    cReplay replay = cMade()
                         .exchange(0, "AT", "OK")
                         .add(eRECORDED_CLOSE, 100)
                         .add(eRECORDED_OPEN, 9000)
                         .exchange(9100, "ATI", "OK")
                         .replay();
    replay.receive(ePORT_AT, "AT\r", 0);
    replay.advance(5000);
    EXPECT_FALSE(replay.isPresent(ePORT_AT));
    replay.advance(8500);
    EXPECT_TRUE(replay.isPresent(ePORT_AT));
}

// A command that begins like one without a carriage return.
TEST(Replay, CommandThatBeginsLikeAnEscape_IsTakenWhole) {
    cReplay replay = cMade()
                         .write(0, "AT\r")
                         .read(10, "OK")
                         .write(1000, "+++")
                         .read(1010, "OK")
                         .write(2000, "+++X\r")
                         .replay(1, true);
    replay.receive(ePORT_AT, "AT\r", 0);
    replay.receive(ePORT_AT, "+++", 1000);
    replay.advance(1010);
    replay.receive(ePORT_AT, "+++X\r", 2000);
    EXPECT_FALSE(replay.isStopped()) << replay.firstDifference();
    EXPECT_EQ(replay.commands().back(), "+++X");
}

TEST(Replay, EscapeWithoutACarriageReturn_IsACommand) {
    cReplay replay = cMade()
                         .write(0, "AT$GPSNMUN=3,1,0,0,0,1,0\r", ePORT_GPS)
                         .read(20, "CONNECT\r\n", ePORT_GPS)
                         .write(2000, "+++", ePORT_GPS)
                         .read(3000, "NO CARRIER\r\n", ePORT_GPS)
                         .replay(1, true);
    replay.receive(ePORT_GPS, "AT$GPSNMUN=3,1,0,0,0,1,0\r", 0);
    replay.receive(ePORT_GPS, "++", 2000);
    replay.receive(ePORT_GPS, "+", 2000);
    replay.advance(3000);
    EXPECT_EQ(replay.takeOutput(ePORT_GPS), "CONNECT\r\nNO CARRIER\r\n");
    EXPECT_EQ(replay.commands().back(), "gps +++");
}

TEST(Replay, Strict_StopsAtTheFirstDifferenceAndShowsTheLinesAroundIt) {
    cReplay replay = threeCommands().replay(1, true);
    replay.receive(ePORT_AT, "AT+CSQ\r", 0);
    outputUntil(replay, 0, 50);
    replay.receive(ePORT_AT, "AT+CGREG?\r", 60);
    EXPECT_TRUE(replay.isStopped());
    EXPECT_EQ(replay.takeOutput(ePORT_AT), "");
    EXPECT_EQ(replay.firstDifference(),
              "made:4: the program differs from the recording\n"
              "  expected  <- AT+CREG?\n"
              "  seen      <- AT+CGREG?\n"
              "  2  <- AT+CSQ\n"
              "  3  -> AT+CSQ\\r\\r\\nfirst\\r\\n\n"
              "> 4  <- AT+CREG?\n"
              "  5  -> AT+CREG?\\r\\r\\nsecond\\r\\n\n"
              "  6  <- AT+CSQ\n"
              "  7  -> AT+CSQ\\r\\r\\nthird\\r\\n\n");
}

TEST(Replay, FloodFromTheProgram_IsBounded) {
    cReplay replay = threeCommands().replay();
    for (int i = 0; i < 10; ++i)
        replay.receive(ePORT_AT, std::string(100000, 'x'), 0);
    replay.receive(ePORT_AT, "\r", 0);
    EXPECT_LE(replay.commands().back().size(), 64U * 1024);
}

}  // namespace le910sim
