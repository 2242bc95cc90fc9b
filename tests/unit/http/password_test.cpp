#include "http/password.h"

#include <gtest/gtest.h>

TEST(Password, Hash_FitsItsPasswordAlone) {
    const std::string hash = passwordHash("correct horse");
    EXPECT_TRUE(isPasswordHash(hash));
    EXPECT_TRUE(isPassword("correct horse", hash));
    EXPECT_FALSE(isPassword("correct horsf", hash));
}

TEST(Password, DamagedHash_FitsNothing) {
    const std::string good = "$7$B6....8....MYrTZ9PbtJWNLIft2tplk1$" + std::string(43, 'a');
    EXPECT_TRUE(isPasswordHash(good));
    for (const std::string& hash :
         {std::string(), good.substr(1), good.substr(0, 79), good + "a", "$6$" + good.substr(3),
          std::string("$7$C6....8....") + good.substr(14), std::string("*0")}) {
        EXPECT_FALSE(isPasswordHash(hash)) << hash;
        EXPECT_FALSE(isPassword("", hash)) << hash;
    }
}
