#include <gtest/gtest.h>

#include "include/address_text.h"
#include "tests/support/log_mode.h"

namespace {

const std::string V6 = "32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.1";
const std::string V6_MASK = "255.255.255.255.255.255.255.255.0.0.0.0.0.0.0.0";

struct sSplitCase {
    const char* dotted;
    int type;
    const char* address;
    const char* mask;
};

}  // namespace

TEST(ParseIpMaskDotted, Texts_GiveTypeAddressAndMask) {
    const sSplitCase cases[] = {
        {"10.1.2.3.255.255.255.0", eIP_TYPE_IPV4, "10.1.2.3", "255.255.255.0"},
        {"0.0.0.0.0.0.0.0", eIP_TYPE_IPV4, "0.0.0.0", "0.0.0.0"},
        {".10..1.2.3.255.255.255.252.", eIP_TYPE_IPV4, "10.1.2.3", "255.255.255.252"},
        {"10.1.2.3.255.255.255.255", eIP_TYPE_NONE, "", ""},
        {"255.255.255.255.255.255.255.0", eIP_TYPE_NONE, "", ""},
        {"256.1.2.3.255.255.255.0", eIP_TYPE_NONE, "", ""},
        {"10.1.2.x.255.255.255.0", eIP_TYPE_NONE, "", ""},
        {"10.1.2.3.255.255.x.0", eIP_TYPE_NONE, "", ""},
    };
    for (const sSplitCase& row : cases) {
        std::string address = "before";
        std::string mask = "before";
        EXPECT_EQ(parseIpMaskDotted(row.dotted, address, mask), row.type) << row.dotted;
        EXPECT_EQ(address, row.address) << row.dotted;
        EXPECT_EQ(mask, row.mask) << row.dotted;
    }
}

TEST(ParseIpMaskDotted, OtherCounts_ChangeNothing) {
    for (const std::string& dotted :
         {std::string(), std::string("10.1.2.3"), std::string("1.2.3.4.5.6.7"),
          std::string("1.2.3.4.5.6.7.8.9"), V6, V6 + "." + V6_MASK + ".1", std::string("....")}) {
        const cLogMode mode;
        std::string address = "before";
        std::string mask = "before";
        EXPECT_EQ(parseIpMaskDotted(dotted, address, mask), eIP_TYPE_NONE) << dotted;
        EXPECT_EQ(address, "before") << dotted;
        EXPECT_EQ(mask, "before") << dotted;
        EXPECT_TRUE(capturedLog().empty()) << dotted;
    }
}

TEST(ParseIpMaskDotted, ThirtyTwoOctets_AreIPv6) {
    std::string address;
    std::string mask;
    EXPECT_EQ(parseIpMaskDotted(V6 + "." + V6_MASK, address, mask), eIP_TYPE_IPV6);
    EXPECT_EQ(address, "2001:db8::1");
    EXPECT_EQ(mask, "ffff:ffff:ffff:ffff::");
}

TEST(ParseIpMaskDotted, ThirtyTwoOctetsWithoutAnAddress_AreRefused) {
    std::string address;
    std::string mask;
    EXPECT_EQ(parseIpMaskDotted("99999." + V6.substr(3) + "." + V6_MASK, address, mask),
              eIP_TYPE_NONE);
    EXPECT_EQ(parseIpMaskDotted(V6 + ".70000" + V6_MASK.substr(3), address, mask), eIP_TYPE_NONE);
}

TEST(SplitIPv4IpMaskdot, Failures_ClearBothAndSayWhy) {
    const struct {
        const char* dotted;
        const char* message;
    } cases[] = {
        {"1.2.3.4",
         "splitIPv4IpMaskdot(): Error: IPV4 IP/MASK format '1.2.3.4' is not valid, does not "
         "contain 8 parts, cannot use"},
        {"1.2.3.999.255.255.255.0",
         "splitIPv4IpMaskdot(): Error: IPV4 IP format '1.2.3.999' is not valid, cannot use"},
        {"1.2.3.4.255.255.255.255",
         "splitIPv4IpMaskdot(): Error: IPV4 MASK format '255.255.255.255' is not valid, cannot "
         "use"},
    };
    for (const auto& row : cases) {
        const cLogMode mode;
        std::string address = "before";
        std::string mask = "before";
        EXPECT_EQ(splitIPv4IpMaskdot(row.dotted, address, mask), -1);
        EXPECT_EQ(address, "");
        EXPECT_EQ(mask, "");
        EXPECT_EQ(capturedLog(), std::vector<std::string>{row.message});
    }
}

TEST(ConvertIPv6IpMaskdotToHex, WrongCount_LeavesOutputs) {
    const cLogMode mode;
    std::string address = "before";
    std::string mask = "before";
    EXPECT_EQ(convertIPv6IpMaskdotToHex(V6, address, mask), -1);
    EXPECT_EQ(address, "before");
    EXPECT_EQ(mask, "before");
    EXPECT_EQ(capturedLog(), std::vector<std::string>{
                                 "convertIPv6IpMaskdotToHex(): Error: IPV6  IP/MASK dotted format "
                                 "'" +
                                 V6 + "' is not valid, cannot use"});
}

TEST(ConvertIPv6IpMaskdotToHex, BadAddress_ClearsTheAddress) {
    const cLogMode mode;
    std::string address = "before";
    std::string mask = "before";
    const std::string bad = "256000.1.13.184.0.0.0.0.0.0.0.0.0.0.0.1";
    EXPECT_EQ(convertIPv6IpMaskdotToHex(bad + "." + V6_MASK, address, mask), -1);
    EXPECT_EQ(address, "");
    EXPECT_EQ(logCount("convertIPv6IpMaskdotToHex(): Error: Unable to convert IPV6 IP '" + bad +
                       "' to HEX format"),
              1u);
}

TEST(ConvertIPv6IpMaskdotToHex, BadMask_ClearsBoth) {
    const cLogMode mode;
    std::string address = "before";
    std::string mask = "before";
    const std::string bad = "256000.1.13.184.0.0.0.0.0.0.0.0.0.0.0.1";
    EXPECT_EQ(convertIPv6IpMaskdotToHex(V6 + "." + bad, address, mask), -1);
    EXPECT_EQ(address, "");
    EXPECT_EQ(mask, "");
    EXPECT_EQ(logCount("convertIPv6IpMaskdotToHex(): Error: Unable to convert IPV6 MASK '" + bad +
                       "' to HEX format"),
              1u);
}

TEST(ConvertIPv6IpDotToHex, Groups_HaveNoLeadingZeroOfTheHighOctet) {
    const struct {
        const char* octets;
        const char* group;
    } cases[] = {
        {"0.0", "0"},       {"0.1", "01"},       {"0.15", "0f"},   {"0.16", "10"},
        {"0.255", "ff"},    {"1.0", "100"},      {"15.9", "f09"},  {"16.0", "1000"},
        {"255.16", "ff10"}, {"255.255", "ffff"}, {"0.300", "12c"},
    };
    const std::string bad = ".99999.0.1.1.1.1.1.1.1.1.1.1.1.1";
    for (const auto& row : cases) {
        const cLogMode mode;
        std::string address;
        EXPECT_EQ(convertIPv6IpDotToHex(row.octets + bad, address), -1);
        EXPECT_EQ(logCount("ERROR: compressIPv6Address(): IPV6 Addr " + std::string(row.group) +
                           ":1869f00:101:101:101:101:101:101 is not a valid format"),
                  1u)
            << row.octets;
    }
}

TEST(ConvertIPv6IpDotToHex, Octets_BecomeGroups) {
    const struct {
        const char* dotted;
        const char* address;
    } cases[] = {
        {"32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.1", "2001:db8::1"},
        {"254.128.0.0.0.0.0.0.0.0.0.0.0.0.2.64", "fe80::240"},
        {"0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0", "::"},
        {"1.0.0.16.0.1.15.255.16.0.0.255.255.255.10.11", "100:10:1:fff:1000:ff:ffff:a0b"},
        {"255.255.255.255.255.255.255.255.255.255.255.255.255.255.255.255",
         "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
        {".32.1.13.184.0.0.0.0.0.0.0.0.0.0..0.1.", "2001:db8::1"},
    };
    for (const auto& row : cases) {
        std::string address;
        EXPECT_EQ(convertIPv6IpDotToHex(row.dotted, address), 0) << row.dotted;
        EXPECT_EQ(address, row.address) << row.dotted;
    }
}

TEST(ConvertIPv6IpDotToHex, WrongCountAndRange_Fail) {
    const cLogMode mode;
    std::string address = "before";
    EXPECT_EQ(convertIPv6IpDotToHex("1.2.3.4", address), -1);
    EXPECT_EQ(capturedLog(), std::vector<std::string>{
                                 "convertIPv6IpDotToHex(): Error: Unable to convert IPV6 IP format "
                                 "'1.2.3.4' has incorrect number of octets"});
    for (const char* octet : {"-1", "4096", "99999999999999999999"})
        EXPECT_EQ(
            convertIPv6IpDotToHex(octet + std::string(".1.0.0.0.0.0.0.0.0.0.0.0.0.0.1"), address),
            -1)
            << octet;
    EXPECT_EQ(address, "before");
}

TEST(CompressIPv6Address, Text_ShortestForm) {
    const struct {
        const char* text;
        const char* compressed;
    } cases[] = {
        {"2001:0db8:0000:0000:0000:0000:0000:0001", "2001:db8::1"},
        {"::1", "::1"},
        {"FE80::ABCD", "fe80::abcd"},
        {"1:0:0:2:0:0:0:3", "1:0:0:2::3"},
        {"::ffff:10.1.2.3", "::ffff:10.1.2.3"},
    };
    for (const auto& row : cases) {
        std::string compressed;
        EXPECT_EQ(compressIPv6Address(row.text, compressed), 0) << row.text;
        EXPECT_EQ(compressed, row.compressed);
    }
}

TEST(CompressIPv6Address, NoAddress_FailsAndSaysSo) {
    const cLogMode mode;
    std::string compressed = "before";
    EXPECT_EQ(compressIPv6Address("1.2.3.4", compressed), -1);
    EXPECT_EQ(compressed, "before");
    EXPECT_EQ(capturedLog(), std::vector<std::string>{
                                 "ERROR: compressIPv6Address(): IPV6 Addr 1.2.3.4 is not a valid "
                                 "format"});
    EXPECT_EQ(compressIPv6Address("", compressed), -1);
}

TEST(DecodeIpFormatFromDotted, FourSixteenOrNeither) {
    const struct {
        std::string dotted;
        const char* address;
    } cases[] = {
        {"10.20.30.41", "10.20.30.41"}, {V6, "2001:db8::1"},          {"", ""}, {"1.2.3", ""},
        {"10.1.2.3.255.255.255.0", ""}, {"99999" + V6.substr(2), ""},
    };
    for (const auto& row : cases) {
        std::string address = "before";
        decodeIpFormatFromDotted(row.dotted, address);
        EXPECT_EQ(address, row.address) << row.dotted;
    }
}

TEST(DecodeIpFormatFromDotted, OtherCount_SaysSo) {
    const cLogMode mode;
    std::string address;
    decodeIpFormatFromDotted("", address);
    EXPECT_EQ(capturedLog(), std::vector<std::string>{
                                 "decodeIpFormatFromDotted(): Error: Unable to convert IPV4/IPV6 "
                                 "IP format '', incorrect number of octets"});
}
