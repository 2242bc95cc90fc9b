#include "mqtt/base64.h"

#include <gtest/gtest.h>

namespace {

// RFC 4648, section 10.
constexpr const char* PAIRS[][2] = {{"", ""},
                                    {"f", "Zg=="},
                                    {"fo", "Zm8="},
                                    {"foo", "Zm9v"},
                                    {"foob", "Zm9vYg=="},
                                    {"fooba", "Zm9vYmE="},
                                    {"foobar", "Zm9vYmFy"}};

}  // namespace

TEST(Base64, VectorsOfTheStandard) {
    for (const auto& [bytes, text] : PAIRS) {
        EXPECT_EQ(base64Text(bytes), text);
        EXPECT_EQ(base64Bytes(text), bytes);
    }
}

TEST(Base64, EveryOctet_ComesBack) {
    std::string bytes;
    for (int octet = 0; octet < 256; ++octet)
        bytes += static_cast<char>(octet);
    EXPECT_EQ(base64Bytes(base64Text(bytes)), bytes);
}

TEST(Base64, OtherTexts_AreRefused) {
    for (const char* text :
         {"Zg", "Zg=", "Z===", "====", "Zg==Zg==", "Z g=", " Zm9v", "Zm9v\n", "Zm9*", "Zm=v"})
        EXPECT_FALSE(base64Bytes(text)) << text;
}
