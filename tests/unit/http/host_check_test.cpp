#include "http/host_check.h"

#include <gtest/gtest.h>

TEST(HostCheck, AddressesAndLocalhost_AreAllowed) {
    for (const char* host :
         {"localhost", "localhost:8088", "LocalHost", "127.0.0.1", "127.0.0.1:80",
          "192.168.1.1:8443", "[::1]", "[::1]:8088", "[fe80::1]"})
        EXPECT_TRUE(isHostAllowed(host, {})) << host;
}

TEST(HostCheck, OtherNames_AreAllowedOnlyIfTheOperatorNamesThem) {
    for (const char* host :
         {"", ":", "evil.example", "localhost.evil.example", "127.0.0.1.nip.example", "1.2.3",
          "::1", "[::1", "[]", "[evil]", "localhost:", "localhost:http", "localhost:123456",
          "localhost:80:80", "localhost ", "localhost\t"})
        EXPECT_FALSE(isHostAllowed(host, {"pump7.lan"})) << host;
    EXPECT_TRUE(isHostAllowed("Pump7.LAN:443", {"other", "pump7.lan"}));
    EXPECT_FALSE(isHostAllowed("pump7.lan.", {"pump7.lan"}));
}

TEST(HostCheck, HostNames_HaveNoPortAndNoOddLetters) {
    EXPECT_TRUE(isHostName("pump-7.example.com"));
    for (const char* name : {"", ".lan", "a b", "a:1", "A", "a/b", "a_b", "\xc3\xa4.de"})
        EXPECT_FALSE(isHostName(name)) << name;
    EXPECT_FALSE(isHostName(std::string(254, 'a')));
}
