#include "mqtt/broker_link.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "tests/support/temp_folder.h"

namespace {

constexpr int PATIENCE_MS = 300'000;  // only bounds a failure

// The broker's side of one connection, octet by octet.
class cScriptedBroker {
  public:
    cScriptedBroker() : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(m_listener, 5), 0);
        socklen_t length = sizeof address;
        EXPECT_EQ(getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
        m_port = ntohs(address.sin_port);
    }
    ~cScriptedBroker() {
        hangUp();
        close(m_listener);
    }
    int port() const { return m_port; }
    void accept() {
        hangUp();
        m_peer = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        ASSERT_NE(m_peer, -1);
    }
    void hangUp() {
        if (m_peer != -1) close(m_peer);
        m_peer = -1;
    }
    bool isAsked() const {
        pollfd wait{m_listener, POLLIN, 0};
        return poll(&wait, 1, 0) == 1;
    }
    void send(const std::string& octets) const {
        ASSERT_EQ(write(m_peer, octets.data(), octets.size()), static_cast<ssize_t>(octets.size()));
    }
    // What has come and was not read yet.
    std::string received() const {
        std::string octets(65536, '\0');
        const ssize_t count = read(m_peer, octets.data(), octets.size());
        octets.resize(count > 0 ? static_cast<size_t>(count) : 0);
        return octets;
    }

  private:
    int m_listener;
    int m_peer = -1;
    int m_port = 0;
};

// Of an authority that signs nothing.
constexpr const char* AUTHORITY =
    "-----BEGIN CERTIFICATE-----\n"
    "MIIBoDCCAUWgAwIBAgIUQKfuAgxmf06ULbalM8RHdGso22cwCgYIKoZIzj0EAwIw\n"
    "HTEbMBkGA1UEAwwSY2Egb2YgdGhlIGdhdGV3YXlzMB4XDTI2MTEyMjE5MzAzMVoX\n"
    "DTQ2MTExNzE5MzAzMVowHTEbMBkGA1UEAwwSY2Egb2YgdGhlIGdhdGV3YXlzMFkw\n"
    "EwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAEDEncsafRyl69P0EzAgbccTMdNMchXJqC\n"
    "acpGMRDpc/4g3so6fbtrv78PRtJfyu1xzDr5yUjULyfJamES9KbtkaNjMGEwHQYD\n"
    "VR0OBBYEFDdS3V/ebaFcd3GVDxAVyJiCtOu6MB8GA1UdIwQYMBaAFDdS3V/ebaFc\n"
    "d3GVDxAVyJiCtOu6MA8GA1UdEwEB/wQFMAMBAf8wDgYDVR0PAQH/BAQDAgEGMAoG\n"
    "CCqGSM49BAMCA0kAMEYCIQCWQX2g5V+QwaJ3Hh32Esivqatvicy2bbfX6ULQH5Tn\n"
    "GQIhAPaP4CV1q3MGALqgyHOWzcgoTdB99b59NwqVA1oEB+Qf\n"
    "-----END CERTIFICATE-----\n";

// MQTT 3.1.1, section 3.2.
std::string connack(int code, bool isSessionPresent = false) {
    return {'\x20', '\x02', isSessionPresent ? '\x01' : '\x00', static_cast<char>(code)};
}

class BrokerLink : public testing::Test {
  protected:
    BrokerLink() {
        options.usesTls = false;
        options.brokers = {{"127.0.0.1", broker.port()}};
        handlers.up = [this](bool isSessionPresent) {
            said.push_back(isSessionPresent ? "up, session present" : "up");
        };
        handlers.down = [this](const std::string& why) { said.push_back("down: " + why); };
        handlers.message = [this](const sIncomingMessage& message) {
            said.push_back((message.isRetained ? "retained " : "") + message.topic + " " +
                           message.payload);
        };
        handlers.acknowledged = [this](int id) { acknowledged.push_back(id); };
        handlers.subscribed = [this](int, bool isGranted) {
            said.push_back(isGranted ? "granted" : "not granted");
        };
        handlers.lastWill = [] { return "gone"; };
    }
    void start() {
        link = std::make_unique<cBrokerLink>(
            options, cBrokerLink::sIdentity{"gw", true, "the/will"}, handlers, sPlaces());
    }
    std::string address() const { return "127.0.0.1:" + std::to_string(broker.port()); }
    // Until something that is waited for is there; the test's clock stands meanwhile.
    template <typename tCondition>
    void turnUntil(const tCondition& isThere) {
        while (!isThere()) {
            pollfd wait{link->fd(), link->events(), 0};
            // The scripted broker is in this thread: look at it again soon.
            ASSERT_NE(poll(&wait, 1, 1), -1);
            link->turn(wait.revents, nowMs);
            if (++m_turns > PATIENCE_MS) FAIL() << "nothing came";
        }
    }
    void turnUntilSaid(size_t count) {
        turnUntil([&] { return said.size() >= count; });
    }
    std::string turnUntilReceived() {
        std::string octets;
        turnUntil([&] {
            octets += broker.received();
            return !octets.empty();
        });
        return octets;
    }
    std::string connectAndReadIt() {
        link->turn(0, nowMs);
        turnUntil([&] { return broker.isAsked(); });
        broker.accept();
        return turnUntilReceived();
    }
    void comeUp() {
        connectAndReadIt();
        broker.send(connack(0));
        turnUntil([&] { return link->isUp(); });
        said.clear();
    }

    cScriptedBroker broker;
    sBrokerOptions options;
    cBrokerLink::sHandlers handlers;
    std::unique_ptr<cBrokerLink> link;
    std::vector<std::string> said;
    std::vector<int> acknowledged;
    int64_t nowMs = 1'000'000;

  private:
    int m_turns = 0;
};

}  // namespace

TEST_F(BrokerLink, Connect_NamesClientSessionKeepAliveAndLastWill) {
    options.user = "pump7";
    start();
    // Section 3.1: protocol level 4; user name, retained will with QoS 1; keep-alive of 300 s.
    EXPECT_EQ(
        connectAndReadIt().substr(2),
        std::string("\x00\x04MQTT\x04\xac\x01\x2c\x00\x02gw\x00\x08the/will\x00\x04gone\x00\x05"
                    "pump7",
                    37));
    EXPECT_FALSE(link->isUp());
    broker.send(connack(0));
    turnUntilSaid(1);
    EXPECT_EQ(said, std::vector<std::string>{"up"});
    EXPECT_TRUE(link->isUp());
    EXPECT_EQ(link->broker(), address());
}

TEST_F(BrokerLink, KeptSession_IsSaid) {
    start();
    connectAndReadIt();
    broker.send(connack(0, true));
    turnUntilSaid(1);
    EXPECT_EQ(said, std::vector<std::string>{"up, session present"});
}

TEST_F(BrokerLink, Publication_IsAcknowledged) {
    start();
    comeUp();
    const int id = link->publish("a/b", "hello", true);
    ASSERT_GT(id, 0);
    EXPECT_EQ(turnUntilReceived(), std::string("\x33\x0c\x00\x03"
                                               "a/b\x00",
                                               8) +
                                       static_cast<char>(id) + "hello");
    EXPECT_TRUE(acknowledged.empty());
    broker.send(std::string("\x40\x02\x00", 3) + static_cast<char>(id));
    turnUntil([&] { return !acknowledged.empty(); });
    EXPECT_EQ(acknowledged, std::vector<int>{id});
}

TEST_F(BrokerLink, MessageAndSubscription_Arrive) {
    start();
    comeUp();
    const int id = link->subscribe("a/#");
    ASSERT_GT(id, 0);
    turnUntilReceived();
    broker.send(std::string("\x90\x03\x00", 3) + static_cast<char>(id) + '\x01');
    broker.send(
        std::string("\x31\x06\x00\x03"
                    "a/bx",
                    8));
    turnUntilSaid(2);
    EXPECT_EQ(said, (std::vector<std::string>{"granted", "retained a/b x"}));
}

TEST_F(BrokerLink, ManyMessages_ArriveInOneTurn) {
    start();
    comeUp();
    std::string octets;
    for (int count = 0; count < 100; ++count)
        octets += std::string("\x30\x04\x00\x01tx", 6);
    broker.send(octets);
    turnUntilSaid(1);
    EXPECT_EQ(said, std::vector<std::string>(100, "t x"));
}

TEST_F(BrokerLink, Flood_LeavesTheOwnerTimeAndIsReadOn) {
    start();
    comeUp();
    std::string octets;
    for (int count = 0; count < 1000; ++count)
        octets += std::string("\x30\x04\x00\x01tx", 6);
    broker.send(octets);
    turnUntilSaid(1);
    EXPECT_LT(said.size(), 1000u);
    EXPECT_EQ(link->dueMs(), nowMs);
    turnUntilSaid(1000);
}

TEST_F(BrokerLink, RefusedSubscription_IsSaid) {
    start();
    comeUp();
    const int id = link->subscribe("a/#");
    turnUntilReceived();
    broker.send(std::string("\x90\x03\x00", 3) + static_cast<char>(id) + '\x80');
    turnUntilSaid(1);
    EXPECT_EQ(said, std::vector<std::string>{"not granted"});
}

TEST_F(BrokerLink, Refusal_IsSaidInWordsAndTriedAgainAfterThePause) {
    start();
    connectAndReadIt();
    broker.send(connack(4));
    turnUntilSaid(1);
    EXPECT_EQ(said, std::vector<std::string>{"down: " + address() + ": user or password is wrong"});
    EXPECT_FALSE(link->isUp());
    const int64_t due = link->dueMs();
    EXPECT_GE(due, nowMs + 500);
    EXPECT_LE(due, nowMs + 1000);
    nowMs = due - 1;
    link->turn(0, nowMs);
    EXPECT_EQ(link->fd(), -1);
    nowMs = due;
    comeUp();
}

TEST_F(BrokerLink, EndOfTheConnection_IsSaidAndAnotherIsMade) {
    start();
    comeUp();
    nowMs += 60'000;
    broker.hangUp();
    turnUntilSaid(1);
    EXPECT_EQ(said, std::vector<std::string>{"down: " + address() + ": the connection was ended"});
    EXPECT_EQ(link->publish("a", "b", false), -1);
    nowMs = link->dueMs();
    comeUp();
}

TEST_F(BrokerLink, SilentBroker_IsGivenUpAfterAMinute) {
    start();
    connectAndReadIt();
    nowMs += 59'999;
    link->turn(0, nowMs);
    EXPECT_TRUE(said.empty());
    nowMs += 1;
    link->turn(0, nowMs);
    EXPECT_EQ(said, std::vector<std::string>{"down: " + address() +
                                             ": the broker did not answer within a minute"});
}

TEST_F(BrokerLink, RefusedConnection_IsSaidAtOnceAlsoWithTls) {
    int port = 0;
    {
        const cScriptedBroker ended;
        port = ended.port();
    }
    options.brokers = {{"127.0.0.1", port}};
    const cTempFolder folder;
    writeFile(folder / "ca.crt", AUTHORITY);
    for (const bool usesTls : {false, true}) {
        options.usesTls = usesTls;
        options.caFile = folder / "ca.crt";
        said.clear();
        start();
        link->turn(0, nowMs);
        turnUntilSaid(1);
        EXPECT_NE(said.front().find("refused"), std::string::npos) << said.front();
    }
}

TEST_F(BrokerLink, SecondBroker_IsTriedAtOnceAndThePauseComesAfterTheLast) {
    const cScriptedBroker other;
    options.brokers.push_back({"127.0.0.1", other.port()});
    start();
    connectAndReadIt();
    broker.send(connack(3));
    turnUntilSaid(1);
    turnUntil([&] { return other.isAsked(); });
    nowMs += 60'000;
    link->turn(0, nowMs);
    ASSERT_EQ(said.size(), 2u);
    EXPECT_GE(link->dueMs(), nowMs + 500);
}

TEST_F(BrokerLink, NameWhoseFirstAddressIsSilent_IsTriedAgainWithIpv4BeforeThePause) {
    options.brokers = {{"localhost", broker.port()}};
    start();
    link->turn(0, nowMs);
    turnUntil([&] { return broker.isAsked(); });
    broker.accept();
    turnUntilReceived();
    nowMs += 60'000;
    link->turn(0, nowMs);
    ASSERT_EQ(said.size(), 1u);
    turnUntil([&] { return broker.isAsked(); });
    broker.accept();
    turnUntilReceived();
    broker.hangUp();
    turnUntilSaid(2);
    EXPECT_GE(link->dueMs(), nowMs + 500);
}

TEST_F(BrokerLink, NameThatRefuses_IsNotAskedTwice) {
    options.brokers = {{"localhost", broker.port()}};
    start();
    connectAndReadIt();
    broker.send(connack(4));
    turnUntilSaid(1);
    EXPECT_GE(link->dueMs(), nowMs + 500);
}

TEST_F(BrokerLink, Pauses_GrowUntilAConnectionHasLasted) {
    start();
    for (int attempt = 0; attempt < 5; ++attempt) {
        connectAndReadIt();
        broker.hangUp();
        turnUntilSaid(static_cast<size_t>(attempt) + 1);
        nowMs = link->dueMs();
    }
    comeUp();
    nowMs += 60'000;
    link->turn(0, nowMs);
    broker.hangUp();
    turnUntilSaid(1);
    EXPECT_LE(link->dueMs(), nowMs + 1000);
}

TEST_F(BrokerLink, Renew_EndsInOrderAndConnectsAtOnce) {
    start();
    comeUp();
    link->renew();
    link->turn(0, nowMs);
    turnUntil([&] { return broker.isAsked(); });
    EXPECT_EQ(broker.received(), std::string("\xe0\x00", 2));  // DISCONNECT
    EXPECT_TRUE(said.empty());
    comeUp();
}

// As a broker does with a name that its rules do not know, or that another client uses too.
TEST_F(BrokerLink, ConnectionIsEndedAtOnce_SaysWhatThatMayMean) {
    start();
    comeUp();
    nowMs += 1000;
    broker.hangUp();
    turnUntilSaid(1);
    EXPECT_NE(said[0].find("ended right after it was made"), std::string::npos) << said[0];
    nowMs = link->dueMs();
    comeUp();
    nowMs += 70'000;
    link->turn(0, nowMs);
    broker.hangUp();
    turnUntilSaid(1);
    EXPECT_EQ(said[0].find("right after"), std::string::npos) << said[0];
}

TEST_F(BrokerLink, GoOn_EndsInOrderAndConnectsToTheNextBroker) {
    const cScriptedBroker other;
    options.brokers.push_back({"127.0.0.1", other.port()});
    start();
    comeUp();
    link->goOn();
    link->turn(0, nowMs);
    EXPECT_FALSE(link->isUp());
    turnUntil([&] { return other.isAsked(); });
    EXPECT_TRUE(said.empty());
}

TEST_F(BrokerLink, RenewAndStopFromAHandler_AreFollowed) {
    handlers.message = [this](const sIncomingMessage&) { link->renew(); };
    start();
    comeUp();
    broker.send(std::string("\x30\x03\x00\x01t", 5));
    turnUntil([&] { return !link->isUp(); });
    handlers.message = nullptr;
    comeUp();
    link->stop();
    EXPECT_EQ(link->fd(), -1);
    nowMs += 3'600'000;
    link->turn(0, nowMs);
    EXPECT_EQ(link->fd(), -1);
}

TEST_F(BrokerLink, TooLongMessage_IsNotSent) {
    start();
    comeUp();
    EXPECT_EQ(link->publish("a", std::string(64 * 1024 + 1, 'x'), false), -1);
}

TEST_F(BrokerLink, MissingPasswordFile_IsSaid) {
    options.user = "a";
    options.passwordFile = "/none/such";
    start();
    link->turn(0, nowMs);
    ASSERT_EQ(said.size(), 1u);
    EXPECT_NE(said[0].find("/none/such"), std::string::npos) << said[0];
}
