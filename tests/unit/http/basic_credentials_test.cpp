#include "http/basic_credentials.h"

#include <gtest/gtest.h>

TEST(BasicCredentials, Password_IsWhatFollowsTheFirstColon) {
    EXPECT_EQ(basicPassword("Basic dXNlcjpwYXNzd29yZA=="), "password");
    EXPECT_EQ(basicPassword("basic  dXNlcjpwYXNzd29yZA== "), "password");
    EXPECT_EQ(basicPassword("Basic Om5vIHVzZXI="), "no user");
    EXPECT_EQ(basicPassword("Basic dTphOmI="), "a:b");
    // RFC 7617, section 2.1: UTF-8.
    EXPECT_EQ(basicPassword("Basic dGVzdDoxMjPCow=="), "123\xc2\xa3");
}

TEST(BasicCredentials, AnythingElse_IsNoPassword) {
    for (const char* header : {"", "Basic", "Basic ", "Bearer dTphOmI=", "Basic dTph!mI=",
                               "Basic ====", "Basic dXNlcg==", "dTphOmI="})
        EXPECT_EQ(basicPassword(header), "") << header;
    EXPECT_EQ(basicPassword("Basic " + std::string(2000, 'O')), "");
}
