#include "mqtt/broker_options.h"

#include <gtest/gtest.h>

#include "cli/base/failure.h"
#include "tests/support/temp_folder.h"

namespace {

sBrokerOptions optionsOf(const std::string& text) {
    sBrokerOptions options;
    for (const sSetting& setting : parseSettings(text, "/etc/x.conf"))
        EXPECT_TRUE(setBrokerOption(setting, "/etc/x.conf", options)) << setting.name;
    return options;
}

std::string refusal(const std::string& text) {
    try {
        optionsOf(text);
    } catch (const cFailure& failure) {
        return failure.what();
    }
    return "";
}

std::vector<std::string> problems(const std::string& text, const std::string& root = "") {
    return brokerProblems(optionsOf(text), {root});
}

}  // namespace

TEST(BrokerOptions, AllSettings_AreRead) {
    const sBrokerOptions options = optionsOf(
        "BROKER=a.example, b.example:8884 [2001:db8::1]:99\nTLS=yes\nCA_FILE=/ca\nCERT_FILE=/cert\n"
        "KEY_FILE=/key\nUSER=pump 7\nPASSWORD_FILE=/pw\nPSK_IDENTITY=me\nPSK_FILE=/psk\n"
        "KEEPALIVE_S=10\n");
    ASSERT_EQ(options.brokers.size(), 3u);
    EXPECT_EQ(brokerText(options.brokers[0], true), "a.example:8883");
    EXPECT_EQ(brokerText(options.brokers[0], false), "a.example:1883");
    EXPECT_EQ(brokerText(options.brokers[1], true), "b.example:8884");
    EXPECT_EQ(brokerText(options.brokers[2], true), "[2001:db8::1]:99");
    EXPECT_TRUE(options.usesTls);
    EXPECT_EQ(options.caFile, "/ca");
    EXPECT_EQ(options.certFile, "/cert");
    EXPECT_EQ(options.keyFile, "/key");
    EXPECT_EQ(options.user, "pump 7");
    EXPECT_EQ(options.passwordFile, "/pw");
    EXPECT_EQ(options.pskIdentity, "me");
    EXPECT_EQ(options.pskFile, "/psk");
    EXPECT_EQ(options.keepAliveS, 10);
}

TEST(BrokerOptions, WrongValues_AreNamedWithTheirLine) {
    const std::string at = "/etc/x.conf line 2: ";
    EXPECT_EQ(refusal("\nTLS=on"), at + "TLS: 'on'; expected yes or no");
    EXPECT_EQ(refusal("\nBROKER="), at + "BROKER: no broker; expected a name or an address");
    EXPECT_EQ(refusal("\nBROKER=a:0"), at + "BROKER: '0' is not a number from 1 to 65535");
    EXPECT_EQ(refusal("\nBROKER=a:"), at + "BROKER: '' is not a number from 1 to 65535");
    EXPECT_EQ(refusal("\nBROKER=mqtts://a"), at + "BROKER: '//a' is not a number from 1 to 65535");
    EXPECT_EQ(refusal("\nBROKER=a_b"),
              at + "BROKER: 'a_b' is not a broker; expected a name or an address, as "
                   "broker.example.com, broker.example.com:8883 or [2001:db8::1]:8883");
    EXPECT_EQ(refusal("\nBROKER=[::1"), at + "BROKER: '[::1' has no ']'");
    EXPECT_NE(refusal("\nBROKER=[::1]x:1"), "");
    EXPECT_NE(refusal("\nBROKER=a b c d e f g h i"), "");
    EXPECT_EQ(refusal("\nCA_FILE=ca.pem"), at + "CA_FILE: 'ca.pem' is not an absolute path");
    EXPECT_EQ(refusal("\nKEEPALIVE_S=9"), at + "KEEPALIVE_S: '9' is not a number from 10 to 3600");
    EXPECT_NE(refusal("\nUSER=" + std::string(129, 'u')), "");
    EXPECT_NE(refusal("\nUSER=a\x1b[2J"), "");
}

TEST(BrokerOptions, ForeignSetting_IsNotTaken) {
    sBrokerOptions options;
    EXPECT_FALSE(setBrokerOption({1, "GATEWAY", "a"}, "/etc/x.conf", options));
}

TEST(BrokerOptions, CompleteSettings_HaveNoProblem) {
    const cTempFolder root;
    for (const char* name : {"ca", "cert", "key", "pw"})
        writeFile(root / name, "x\n");
    writeFile(root / "psk", std::string(32, 'a') + "\n");
    EXPECT_TRUE(problems("BROKER=a\nCA_FILE=/ca", root.path()).empty());
    EXPECT_TRUE(problems("BROKER=a\nCA_FILE=/ca\nCERT_FILE=/cert\nKEY_FILE=/key\nUSER=u\n"
                         "PASSWORD_FILE=/pw",
                         root.path())
                    .empty());
    EXPECT_TRUE(problems("BROKER=a\nPSK_FILE=/psk\nPSK_IDENTITY=me", root.path()).empty());
    EXPECT_TRUE(problems("BROKER=localhost 127.0.0.1 [::1]\nTLS=no").empty());
}

TEST(BrokerOptions, WhatIsMissingOrExcluded_IsSaid) {
    const cTempFolder root;
    writeFile(root / "psk", "tooshort\n");
    EXPECT_EQ(problems("TLS=no"),
              (std::vector<std::string>{"BROKER is missing; expected a name or an address"}));
    EXPECT_EQ(problems("BROKER=a\nTLS=no").size(), 1u);
    EXPECT_EQ(problems("BROKER=localhost.example\nTLS=no").size(), 1u);
    EXPECT_EQ(problems("BROKER=a"),
              (std::vector<std::string>{"CA_FILE is missing: without it nobody knows whether it is "
                                        "the right broker"}));
    EXPECT_EQ(problems("BROKER=a\nCA_FILE=/ca", root.path()),
              (std::vector<std::string>{"CA_FILE=/ca cannot be read: No such file or directory"}));
    EXPECT_EQ(problems("BROKER=localhost\nTLS=no\nPASSWORD_FILE=/psk", root.path()),
              (std::vector<std::string>{"PASSWORD_FILE is set without USER"}));
    EXPECT_EQ(
        problems("BROKER=a\nPSK_IDENTITY=me\nPSK_FILE=/psk", root.path()),
        (std::vector<std::string>{"the key in PSK_FILE is not at least 32 hexadecimal digits, "
                                  "two for each octet"}));
    EXPECT_EQ(problems("BROKER=a\nPSK_IDENTITY=me\nCA_FILE=/psk", root.path()).size(), 1u);
    EXPECT_EQ(problems("BROKER=a\nCA_FILE=/psk\nCERT_FILE=/psk", root.path()).size(), 1u);
}

TEST(BrokerOptions, EmptyKeyFile_IsAProblemAndNotTheEnd) {
    const cTempFolder root;
    writeFile(root / "psk", "");
    EXPECT_EQ(problems("BROKER=a\nPSK_IDENTITY=me\nPSK_FILE=/psk", root.path()).size(), 1u);
}

TEST(BrokerOptions, SecretLine_IsTheFirstWithoutBlanks) {
    const cTempFolder root;
    writeFile(root / "pw", " pass word \r\nsecond\n");
    EXPECT_EQ(readSecretLine(root / "pw"), "pass word");
    writeFile(root / "pw", "\n");
    EXPECT_THROW(readSecretLine(root / "pw"), cFailure);
    EXPECT_THROW(readSecretLine(root / "none"), cFailure);
}
