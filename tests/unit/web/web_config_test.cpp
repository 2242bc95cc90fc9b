#include "web/web_config.h"

#include <gtest/gtest.h>

#include "cli/base/failure.h"
#include "tests/support/temp_folder.h"

namespace {

std::string refusal(const std::string& text) {
    try {
        parseWebConfig(text);
    } catch (const cFailure& failure) {
        return failure.what();
    }
    return "";
}

}  // namespace

TEST(WebConfig, NoFileOrEmptyFile_AllowsNothing) {
    const cTempFolder folder;
    for (const sWebConfig& config : {readWebConfig({folder.path()}), parseWebConfig("")}) {
        EXPECT_TRUE(config.hosts.empty());
        EXPECT_FALSE(config.showsMessages);
    }
}

TEST(WebConfig, KeysAreRead) {
    const sWebConfig config =
        parseWebConfig("# a comment\n\n HOSTS = Pump7.lan,b.example  c \r\nMESSAGES=yes");
    EXPECT_EQ(config.hosts, (std::vector<std::string>{"pump7.lan", "b.example", "c"}));
    EXPECT_TRUE(config.showsMessages);
}

TEST(WebConfig, Mistakes_AreNamedWithTheirLine) {
    EXPECT_EQ(refusal("\nMESSAGES=1\n"),
              "/etc/cellslot/web.conf line 2: MESSAGES is '1'; expected yes or no");
    EXPECT_EQ(refusal("PORT=80\n"),
              "/etc/cellslot/web.conf line 1: unknown key 'PORT'; known are HOSTS and MESSAGES");
    EXPECT_EQ(refusal("yes\n"),
              "/etc/cellslot/web.conf line 1: 'yes' has no '='; expected KEY=value");
    EXPECT_EQ(
        refusal("HOSTS=http://a\n"),
        "/etc/cellslot/web.conf line 1: 'http://a' is not a host name; expected names without "
        "port, as gateway.example.com");
    std::string many = "HOSTS=";
    for (int i = 0; i < 33; ++i)
        many += "a ";
    EXPECT_EQ(refusal(many), "/etc/cellslot/web.conf line 1: more than 32 names");
    EXPECT_NE(refusal("\x01=\xff\n").find("'?'"), std::string::npos);
}
