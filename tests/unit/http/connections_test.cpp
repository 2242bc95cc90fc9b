#include "http/connections.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

class Connections : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends), 0);
        connection = connections.open(ends[0], 1000);
    }
    void TearDown() override {
        close(ends[0]);
        close(ends[1]);
    }
    bool isCutOff() const {
        char byte = 0;
        return recv(ends[1], &byte, 1, 0) == 0;
    }

    int ends[2] = {-1, -1};
    cConnections connections;
    cConnections::sConnection* connection = nullptr;
};

}  // namespace

TEST_F(Connections, SlowRequest_IsCutOffAfterTenSeconds) {
    connections.cutOff(1009);
    EXPECT_FALSE(isCutOff());
    connections.cutOff(1010);
    EXPECT_TRUE(isCutOff());
    EXPECT_EQ(connections.count(), 1u);
    connections.close(connection);
    EXPECT_EQ(connections.count(), 0u);
}

TEST_F(Connections, NextStep_BeginsItsOwnTime) {
    cConnections::begin(*connection, cConnections::eStep::ANSWER, 1009);
    connections.cutOff(1068);
    EXPECT_FALSE(isCutOff());
    cConnections::begin(*connection, cConnections::eStep::IDLE, 1068);
    connections.cutOff(1082);
    EXPECT_FALSE(isCutOff());
    connections.cutOff(1083);
    EXPECT_TRUE(isCutOff());
}

TEST_F(Connections, Stream_HasNoLimit) {
    cConnections::begin(*connection, cConnections::eStep::UNLIMITED, 1000);
    connections.cutOff(1000000);
    EXPECT_FALSE(isCutOff());
}
