#include "config/config_reader.h"

#include <unistd.h>

#include "tests/unit/config/config_reader_fixture.h"

// Hostile and odd files.

TEST_F(cConfigReaderTest, MissingFinalNewline_LosesNothing) {
    read("CM_APN=a\nCM_MTU=1400");
    EXPECT_EQ(opts.apn, "a");
    EXPECT_EQ(opts.mtu, 1400);
}

TEST_F(cConfigReaderTest, CrLfLineEnds_ArePartOfNoValue) {
    read("CM_APN=Net\r\nCM_USERNAME=user\r\nCM_PASSWORD=pw\r\nCM_MTU=1400\r\n");
    EXPECT_EQ(opts.apn, "Net");
    EXPECT_EQ(opts.username, "user");
    EXPECT_EQ(opts.password, "pw");
    EXPECT_EQ(opts.mtu, 1400);
}

TEST_F(cConfigReaderTest, ByteOrderMark_DoesNotHideTheFirstKey) {
    read(
        "\xEF\xBB\xBF"
        "CM_APN=net\n");
    EXPECT_EQ(opts.apn, "net");
}

TEST_F(cConfigReaderTest, CommentsRepeatedKeysAndOtherLines_AreReadAsDocumented) {
    read(
        "# CM_APN=commented\n  #CM_MTU=60\nno separator\n=value\nCM_APN=first\nCM_APN=second\n"
        "cm_mtu=100\nCM_USERNAME=a#b\nUNKNOWN=1\n");
    EXPECT_EQ(opts.apn, "first");
    EXPECT_EQ(opts.mtu, 1500);
    EXPECT_EQ(opts.username, "a#b");
}

TEST_F(cConfigReaderTest, ControlCharactersInRawValues_AreRefused) {
    for (const std::string& breaker :
         {std::string(1, '\0'), std::string("\r"), std::string("\x1a"), std::string("\x1b")}) {
        const std::string value = "ab" + breaker + "cd\n";
        EXPECT_EQ(read("CM_APN=" + value + "CM_USERNAME=" + value + "CM_PASSWORD=pw\n" +
                       "CM_OPERATOR_MODE=1\nCM_OPERATOR=" + value),
                  eCONFIG_APPLIED);
        EXPECT_EQ(opts.apn, "");
        EXPECT_EQ(opts.username, "");
        EXPECT_EQ(opts.password, "");
        EXPECT_EQ(opts.operatorMode, "0");
        EXPECT_EQ(opts.operatorName, "");
    }
}

TEST_F(cConfigReaderTest, VeryLongLines_FallBackToDefaults) {
    sConfigFileOpts expected;
    read("");
    expected = opts;
    for (const sConfigKey& key : configKeys()) {
        const std::string name = key.name;
        EXPECT_EQ(read("CM_OPERATOR_MODE=1\n" + name + "=" + std::string(100000, '9') + "\n"),
                  eCONFIG_APPLIED)
            << name;
        expected.md5 = opts.md5;
        expected.debugMode = name == "DEBUG_MODE" ? 0x0fffffffffffffff : 0;
        expected.netPrefText = name == "CM_DATA_SPEED" ? std::string(100000, '9') : "";
        expected.operatorMode = "0";
        EXPECT_EQ(describe(opts), describe(expected)) << name;
    }
}

TEST_F(cConfigReaderTest, ArbitraryBytes_NeverFailTheRead) {
    std::string content;
    for (unsigned i = 0; i < LARGEST_FILE; ++i) {
        content += static_cast<char>(i * 2654435761U >> 13);
    }
    EXPECT_EQ(read(content), eCONFIG_APPLIED);
    for (const sConfigKey& key : configKeys()) {
        EXPECT_EQ(read(std::string(key.name) + "=" + content.substr(0, 4096)), eCONFIG_APPLIED);
    }
}
