#include "cli/display_text.h"

#include <gtest/gtest.h>

using std::string_literals::operator""s;

TEST(DisplayText, WhatATerminalWouldActUpon_IsReplaced) {
    EXPECT_EQ(displayText("T\xc3\xa9l\xc3\xa9"
                          "com"),
              "T\xc3\xa9l\xc3\xa9"
              "com");
    EXPECT_EQ(displayText("a\x1b[2Jb"), "a?[2Jb");
    EXPECT_EQ(displayText("a\0b"s), "a?b");
    EXPECT_EQ(displayText("a\xc2\x9b"
                          "2Jb"),
              "a?2Jb");  // C1: one-byte CSI
    EXPECT_EQ(displayText("a\xe2\x80\xae"
                          "b"),
              "a?b");  // right-to-left override
    EXPECT_EQ(displayText("\xf0\x9f\x93\xb6"), "\xf0\x9f\x93\xb6");
}

TEST(DisplayText, WhatIsNotUtf8_IsReplacedByteByByte) {
    EXPECT_EQ(displayText("T\xe9l"), "T?l");
    EXPECT_EQ(displayText("\xc3"), "?");
    EXPECT_EQ(displayText("\xc0\xaf"), "??");            // not the shortest form
    EXPECT_EQ(displayText("\xed\xa0\x80"), "???");       // surrogate
    EXPECT_EQ(displayText("\xf4\x90\x80\x80"), "????");  // above U+10FFFF
    EXPECT_EQ(displayText("\xf8\x88\x80\x80\x80"), "?????");
    EXPECT_EQ(displayText("\xff"), "?");
}

TEST(WithoutSecrets, QuotedPins_AreMasked) {
    EXPECT_EQ(withoutSecrets("bad password '1234'"), "bad password '****'");
    EXPECT_EQ(withoutSecrets("from '1234' to '12345678', error (16)"),
              "from '****' to '****', error (16)");
    EXPECT_EQ(withoutSecrets("'123' '123456789' 'READY' 1234 '"),
              "'123' '123456789' 'READY' 1234 '");
}

TEST(CutTo, LongText_EndsInTildeAtACharacter) {
    EXPECT_EQ(cutTo("abc", 3), "abc");
    EXPECT_EQ(cutTo("abcd", 3), "ab~");
    EXPECT_EQ(cutTo("\xc3\xa9\xc3\xa9\xc3\xa9\xc3\xa9", 3), "\xc3\xa9\xc3\xa9~");
    EXPECT_EQ(cutTo("abc", 0), "");
    EXPECT_EQ(fitTo("\xc3\xa9", 3), "\xc3\xa9  ");
}

TEST(WrapText, LongText_BreaksAtBlanksAndIndents) {
    const std::vector<std::string> expected = {"  one two", "    three", "    four"};
    EXPECT_EQ(wrapText("  one two three four", 9, 4), expected);
    EXPECT_EQ(wrapText("", 9, 4), std::vector<std::string>{""});
    EXPECT_EQ(wrapText("anextremelylongword", 9, 4),
              std::vector<std::string>{"anextremelylongword"});
}

TEST(DurationText, EveryMagnitude_IsShort) {
    EXPECT_EQ(durationText(0), "0 s");
    EXPECT_EQ(durationText(59), "59 s");
    EXPECT_EQ(durationText(60), "1 min");
    EXPECT_EQ(durationText(8040), "2 h 14 min");
    EXPECT_EQ(durationText(273600), "3 d 4 h");
}

TEST(ShortNumber, OneDigitBehindThePointAtMost) {
    EXPECT_EQ(shortNumber(-98), "-98");
    EXPECT_EQ(shortNumber(-9.5), "-9.5");
    EXPECT_EQ(shortNumber(-9.99), "-10");
}
