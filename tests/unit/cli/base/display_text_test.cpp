#include "cli/base/display_text.h"

#include <gtest/gtest.h>

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

TEST(WrapList, LongList_KeepsEachItemTogether) {
    const std::vector<std::string> expected = {"one, number 2,", "  IMEI 35, x"};
    EXPECT_EQ(wrapList("one, number 2, IMEI 35, x", 20, 2), expected);
    EXPECT_EQ(wrapList("one, two", 20, 2), std::vector<std::string>{"one, two"});
    EXPECT_EQ(wrapList("", 20, 2), std::vector<std::string>{""});
}

TEST(WrapList, ItemLongerThanALine_BreaksAtBlanks) {
    const std::vector<std::string> expected = {"one, an item that", "  is long, x"};
    EXPECT_EQ(wrapList("one, an item that is long, x", 17, 2), expected);
}

TEST(DurationText, EveryMagnitude_IsShort) {
    EXPECT_EQ(durationText(0), "0 s");
    EXPECT_EQ(durationText(59), "59 s");
    EXPECT_EQ(durationText(60), "1 min");
    EXPECT_EQ(durationText(8040), "2 h 14 min");
    EXPECT_EQ(durationText(273600), "3 d 4 h");
}

TEST(ShortNumber, OneDigitAfterThePointAtMost) {
    EXPECT_EQ(shortNumber(-98), "-98");
    EXPECT_EQ(shortNumber(-9.5), "-9.5");
    EXPECT_EQ(shortNumber(-9.99), "-10");
}

TEST(DisplayText, WideCharacters_AreTwoColumns) {
    EXPECT_EQ(displayWidth("\u4e2d\u56fd LTE"), 8u);
    EXPECT_EQ(displayWidth("\U0001f4f6\uac00\uff21"), 6u);
    EXPECT_EQ(displayWidth("\u00e9\u20ac\u05d0"), 3u);
    EXPECT_EQ(cutTo("\u4e2d\u56fd\u79fb", 6), "\u4e2d\u56fd\u79fb");
    EXPECT_EQ(cutTo("\u4e2d\u56fd\u79fb", 5), "\u4e2d\u56fd~");
    EXPECT_EQ(cutTo("\u4e2d\u56fd\u79fb", 4), "\u4e2d~");
    EXPECT_EQ(fitTo("\u4e2d\u56fd\u79fb", 4), "\u4e2d~ ");
    EXPECT_EQ(displayWidth(fitTo("\u4e2d", 5)), 5u);
}
