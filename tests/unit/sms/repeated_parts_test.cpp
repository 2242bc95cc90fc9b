#include "sms/repeated_parts.h"

#include <filesystem>

#include "tests/unit/sms/assembly_fixture.h"

TEST_F(SmsAssembly, RepeatedParts_TheNewestStays) {
    setFileTime(putPart("old", 7, 1, 2, "+1", "a"), START_S - 10);
    setFileTime(putPart("new", 7, 1, 2, "+1", "a"), START_S);
    setFileTime(putPart("two", 7, 2, 2, "+1", "b"), START_S - 20);
    setFileTime(putPart("other", 7, 1, 2, "1", "c"), START_S - 20);
    const std::string longer = putPart("longer", 7, 1, 3, "+1", "a");
    removeRepeatedParts(root, {in("recv_parts", "two")});
    EXPECT_TRUE(fileExists(longer)) << "a part of another message";
    std::filesystem::remove(longer);
    EXPECT_EQ(names("recv_parts"), (tNames{"new", "other", "two"}))
        << "one digit string is not one sender";
    setFileTime(in("recv_parts", "new"), START_S - 100);
    setFileTime(putPart("third", 7, 1, 2, "+1", "a"), START_S);
    removeRepeatedParts(root, {in("recv_parts", "new")});
    EXPECT_EQ(names("recv_parts"), (tNames{"new", "other", "two"})) << "just written is newer";
}

TEST_F(SmsAssembly, RepeatedParts_OnlyEqualPartsCount) {
    putPart("a", 7, 1, 2, "+1", "text");
    putPart("other text", 7, 1, 2, "+1", "Text");
    putPart("other time", 7, 1, 2, "+1", "text", "1592253126");
    putPart("other number", 7, 2, 2, "+1", "text");
    putPart("other reference", 8, 1, 2, "+1", "text");
    removeRepeatedParts(root, {in("recv_parts", "a"), in("recv_parts", "other reference")});
    EXPECT_EQ(names("recv_parts").size(), 5U);
    EXPECT_TRUE(capturedLog().empty());
}

TEST_F(SmsAssembly, RepeatedParts_OfMessagesWithoutANewPart_AreNotTouched) {
    for (const char* name : {"a", "b"})
        putPart(name, 7, 1, 2, "+1", "text");
    for (const char* name : {"c", "d"})
        putPart(name, 8, 1, 2, "+1", "text");
    removeRepeatedParts(root, {});
    EXPECT_EQ(names("recv_parts").size(), 4U);
    removeRepeatedParts(root, {in("recv_parts", "d")});
    EXPECT_EQ(names("recv_parts"), (tNames{"a", "b", "d"}));
}
