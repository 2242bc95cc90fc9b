#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <set>

#include "include/device_records.h"
#include "include/utilities.h"
#include "platform/include/key_value_store.h"
#include "platform/include/text_helpers.h"
#include "platform/include/timer_clock.h"
#include "published/host_boot.h"
#include "published/paths.h"
#include "sms/listing_marker.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "sms/wall_clock.h"
#include "tests/support/flow_fixture.h"
#include "tests/support/mounted_folder.h"
#include "tests/support/temp_folder.h"

namespace {

using nlohmann::json;
using tTexts = std::map<std::string, int>;

const std::string ROOT = "/tmp/sms";
const std::string NOTE = listingNotePath(1);
const tCommands TAKING = {"AT+CMGF=0", "AT+CMGL=0", "AT+CMGD=1,1", "AT+CMGD=1,2"};
const tCommands TAKING_READ_ONES = {"AT+CMGF=0", "AT+CMGL=0", "AT+CMGL=1", "AT+CMGD=1,1",
                                    "AT+CMGD=1,2"};

// The wall clock runs with the daemon's clock.
timespec portWallClock() {
    constexpr time_t START_S = 1592253125;
    const uint64_t ms = timerClockMs();
    return {START_S + static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000 * 1000000)};
}

// Reproducible with the printed seed in CELLSLOT_SEED.
unsigned testSeed() {
    const char* const given = getenv("CELLSLOT_SEED");
    const unsigned seed =
        given != nullptr ? static_cast<unsigned>(textToLong(given)) : std::random_device()();
    printf("seed %u\n", seed);
    return seed;
}

// A message to receive, as the parts that the network delivers.
struct sTestMessage {
    std::string from;
    std::string text;
    std::vector<json> orders;
};

class SmsFlow : public cFlowFixture {
  protected:
    SmsFlow() : random(testSeed()) {
        resetSmsState();
        setWallClock(portWallClock);
        device.network.b_registered = true;
        device.modem.s_own_number = "12025550101";
    }
    ~SmsFlow() override {
        setWallClock(nullptr);
        resetSmsState();
    }

    int below(int end) { return std::uniform_int_distribution<int>(0, end - 1)(random); }

    // What a power cut leaves of the daemon's files.
    static void startHostAgain() {
        std::filesystem::remove_all(ROOT);
        std::filesystem::remove_all("/run/cellslot");
        setKeyValueStorePath("/run/cellslot/skvs");
        if (std::filesystem::exists(NOTE)) writeFile(NOTE, "an earlier start of the host\n");
        startDaemonAgain();
    }
    static void startDaemonAgain() {
        resetSmsState();
        initSMS(ROOT);
    }

    // The power is cut after the modem listed a message and before the message was in a file.
    void cutPowerAfterListing() {
        start();
        startDaemonAgain();
        EXPECT_EQ(check(), eSUCCESS);
        inject({{"from", "22255"}, {"text", "restart pump 3"}});
        sendEarlier("AT+CMGL=0");
        startHostAgain();
    }

    // One check, five seconds after the last. If the modem did not answer, its port is closed,
    // which drops a late answer.
    eGeneralErrors check() {
        passSeconds(6);
        const eGeneralErrors result = checkSMS(port(), device);
        if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) {
            passSeconds(30);
            char piece[4096];
            while (read(port(), piece, sizeof piece) > 0) {
            }
        }
        return result;
    }

    void inject(const json& message) {
        json request = message;
        request["op"] = "inject-sms";
        order(request);
    }

    // Sender, a marker, and a text with this number of parts.
    sTestMessage makeMessage(int number, int parts, const std::string& from, int reference) {
        sTestMessage message = {from, "", {}};
        for (int part = 1; part <= parts; ++part) {
            const std::string text =
                "[" + std::to_string(number) +
                (parts == 1 ? "]" : "." + std::to_string(part) + "]") +
                std::string(static_cast<size_t>(below(100)), static_cast<char>('a' + number % 26));
            message.text += text;
            json one = {{"from", from}, {"text", text}};
            if (parts > 1) {
                one["reference"] = reference;
                one["part"] = part;
                one["total"] = parts;
            }
            message.orders.push_back(one);
        }
        return message;
    }

    // The received messages, "digits of the sender|text", and how often each was received.
    tTexts received() const {
        tTexts texts;
        for (const auto& entry : std::filesystem::directory_iterator(ROOT + "/recv")) {
            const std::string content = readFile(entry.path().string());
            const std::string from = findNeedleString(content, "FROM=", "\n");
            ++texts[cleanNonNumeric(from) + "|" + findNeedleString(content, "MSG=", "")];
        }
        return texts;
    }

    json sms() { return simulatedPort().modem().control({{"op", "dump"}}).at("state").at("sms"); }

    bool isModemEmpty() {
        const json state = sms();
        return state.at("stored").empty() && state.at("waiting").empty();
    }

    static std::set<std::string> namesIn(const std::string& dir) {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(ROOT + dir))
            found.insert(entry.path().filename().string());
        return found;
    }

    std::mt19937 random;
};

// Every folder of the spool is a mount of its own, so that no file can be renamed into another.
class SmsFlowMounts : public SmsFlow {
  protected:
    SmsFlowMounts() {
        for (const char* dir : {"/recv", "/recv_parts", "/send", "/send_ok", "/send_fail"})
            mounts.push_back(std::make_unique<cMountedFolder>(ROOT + dir));
        start();
        initSMS(ROOT);
    }
    void put(const std::string& name) {
        writeFile(ROOT + "/send/" + name, contentOf(name));
        chmod((ROOT + "/send/" + name).c_str(), 0640);
    }
    static std::string contentOf(const std::string& name) {
        return "TO=+12025550123\nMSG=" + name + "\n" + std::string(2000, 'x') + "\n";
    }
    // The only file of a folder has the content and the rights of the file with that name.
    static void expectFiled(const std::string& dir, const std::string& name) {
        const std::set<std::string> names = namesIn(dir);
        ASSERT_EQ(names.size(), 1U) << dir << " " << name;
        const std::string path = ROOT + dir + "/" + *names.begin();
        EXPECT_TRUE(startsWith(*names.begin(), name + ".")) << *names.begin();
        EXPECT_EQ(readFile(path), contentOf(name));
        struct stat info {};
        EXPECT_EQ(stat(path.c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 0777U, 0640U);
        std::filesystem::remove(path);
    }

    std::vector<std::unique_ptr<cMountedFolder>> mounts;
};

// Faults while messages are listed and deleted, none of which may lose a message.
const json FAULTS[] = {
    {{"match", "AT+CMGL=0"}, {"kind", "silence"}, {"execute", true}},
    {{"match", "AT+CMGL=0"}, {"kind", "silence"}},
    {{"match", "AT+CMGL=0"}, {"kind", "delay"}, {"delay_ms", 15000}},
    {{"match", "AT+CMGL=0"}, {"kind", "error"}},
    {{"match", "AT+CMGL=0"}, {"kind", "pieces"}, {"pieces", 20}, {"gap_ms", 900}},
    {{"match", "AT+CMGL=0"}, {"kind", "urc"}, {"line", "+CMTI: \"SM\",3"}, {"place", "inside"}},
    {{"match", "AT+CMGL=1"}, {"kind", "silence"}},
    {{"match", "AT+CMGL=1"}, {"kind", "error"}},
    {{"match", "AT+CMGF=0"}, {"kind", "silence"}},
    {{"match", "AT+CMGF=0"}, {"kind", "delay"}, {"delay_ms", 1200}},
    {{"match", "AT+CMGD=1,1"}, {"kind", "silence"}, {"execute", true}},
    {{"match", "AT+CMGD=1,1"}, {"kind", "cms"}, {"number", 500}},
};

class SmsFlowReceive : public SmsFlow {
  protected:
    // 200 messages: single ones and of two to eight parts, from a few senders that use the same
    // references; parts shuffled over all messages, every fifth delivered twice.
    void makeMessages() {
        const char* const senders[] = {"+12025550123", "+4917012345678", "22255", "12025550199"};
        for (int i = 0; i < 200; ++i) {
            const int parts = below(3) == 0 ? 2 + below(7) : 1;
            messages.push_back(makeMessage(i, parts, senders[i % 4], 1 + i / 4));
        }
        for (const sTestMessage& message : messages)
            orders.insert(orders.end(), message.orders.begin(), message.orders.end());
        std::shuffle(orders.begin(), orders.end(), random);
    }

    void expectEachOnce() const {
        tTexts expected;
        for (const sTestMessage& message : messages)
            ++expected[cleanNonNumeric(message.from) + "|" + message.text];
        const tTexts found = received();
        for (const auto& [text, count] : expected) {
            const auto entry = found.find(text);
            EXPECT_EQ(entry == found.end() ? 0 : entry->second, count) << text;
        }
        EXPECT_EQ(found.size(), expected.size());
    }

    std::vector<sTestMessage> messages;
    std::vector<json> orders;
};

}  // namespace

TEST_F(SmsFlowReceive, TwoHundredMessages_EachIsFoundExactlyOnce) {
    start();
    initSMS(ROOT);
    makeMessages();
    size_t delivered = 0;
    unsigned repeated = 0;
    while (delivered < orders.size() || !isModemEmpty()) {
        for (int i = below(8); i > 0 && delivered < orders.size(); --i) {
            const json& message = orders[delivered++];
            inject(message);
            const bool again = message.contains("part") && below(5) == 0;
            if (again) inject(message);
            repeated += again ? 1 : 0;
        }
        ASSERT_EQ(check(), eSUCCESS);
    }
    check();
    expectEachOnce();
    const auto multi = static_cast<unsigned>(
        std::count_if(messages.begin(), messages.end(),
                      [](const sTestMessage& message) { return message.orders.size() > 1; }));
    EXPECT_EQ(device.modem.i_sms_received, orders.size() + repeated + multi)
        << "every file that was written";
    for (const auto& entry : std::filesystem::directory_iterator(ROOT + "/recv_parts"))
        EXPECT_TRUE(entry.is_regular_file()) << "only parts that came again after their message";
}

TEST_F(SmsFlowReceive, ModemThatFailsNowAndThen_LosesAndDuplicatesNone) {
    start();
    initSMS(ROOT);
    makeMessages();
    size_t delivered = 0;
    int checks = 0;
    while (delivered < orders.size() || !isModemEmpty()) {
        ASSERT_LT(++checks, 1000);
        for (int i = below(8); i > 0 && delivered < orders.size(); --i)
            inject(orders[delivered++]);
        order({{"op", "clear-faults"}});
        if (below(2) == 0 && delivered < orders.size()) {
            json request = FAULTS[below(static_cast<int>(std::size(FAULTS)))];
            request["op"] = "fault";
            request["count"] = 1;
            order(request);
        }
        check();
    }
    order({{"op", "clear-faults"}});
    check();
    expectEachOnce();
    EXPECT_TRUE(std::filesystem::is_empty(ROOT + "/recv_parts"));
}

TEST_F(SmsFlowReceive, DaemonRestartedBetweenAllChecks_LosesAndDuplicatesNone) {
    start();
    makeMessages();
    size_t delivered = 0;
    while (delivered < orders.size() || !isModemEmpty()) {
        for (int i = below(8); i > 0 && delivered < orders.size(); --i)
            inject(orders[delivered++]);
        resetSmsState();
        initSMS(ROOT);
        check();
    }
    expectEachOnce();
}

TEST_F(SmsFlow, ThreePartsFromTheNetwork_AreOneMessage) {
    start();
    initSMS(ROOT);
    const sTestMessage message = makeMessage(1, 3, "+12025550123", 300);
    for (const size_t part : {2U, 0U, 1U})
        inject(message.orders[part]);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(received(), (tTexts{{"12025550123|" + message.text, 1}}));
    EXPECT_EQ(commands(), (tCommands{"AT+CMGF=0", "AT+CMGL=0", "AT+CMGD=1,1", "AT+CMGD=1,2"}));
    EXPECT_TRUE(isModemEmpty());
}

TEST_F(SmsFlowMounts, Messages_AreDeliveredComplete) {
    const sTestMessage single = makeMessage(1, 1, "+12025550123", 0);
    const sTestMessage joined = makeMessage(2, 4, "+12025550123", 300);
    tTexts expected;
    for (const sTestMessage& message : {single, joined}) {
        for (const json& part : message.orders)
            inject(part);
        ++expected[cleanNonNumeric(message.from) + "|" + message.text];
    }
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(received(), expected);
    for (const std::string& name : namesIn("/recv"))
        EXPECT_TRUE(startsWith(name, "sms_msg_")) << name;
    EXPECT_TRUE(namesIn("/recv_parts").empty());
    EXPECT_EQ(namesIn("").size(), 6U) << "nothing is left in the root";
    EXPECT_TRUE(isModemEmpty());
}

TEST_F(SmsFlowMounts, SentFiles_AreMovedComplete) {
    for (const char* name : {"safe", "not safe; for a shell"}) {
        put(name);
        EXPECT_EQ(check(), eSUCCESS);
        EXPECT_TRUE(namesIn("/send").empty());
        expectFiled("/send_ok", name);
    }
    EXPECT_EQ(device.modem.i_sms_sent, 2U);
}

TEST_F(SmsFlowMounts, FilesGivenUp_AreMovedComplete) {
    for (const char* name : {"safe", "not safe; for a shell"}) {
        put(name);
        order({{"op", "fault"}, {"prefix", "AT+CMGS="}, {"kind", "error"}, {"count", 3}});
        for (int i = 0; i < 6; ++i)
            check();
        EXPECT_TRUE(namesIn("/send").empty());
        expectFiled("/send_fail", name);
    }
    EXPECT_EQ(device.modem.i_sms_sent_fail, 2U);
}

// The first address of a process's memory cannot be read.
TEST_F(SmsFlow, PartFileWithAnInputOutputError_IsNotTreatedAsBroken) {
    start();
    initSMS(ROOT);
    const std::string path = ROOT + "/recv_parts/part";
    writeFile(path, "");
    ASSERT_EQ(mount("/proc/self/mem", path.c_str(), nullptr, MS_BIND, nullptr), 0);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(check(), eSUCCESS);
    umount2(path.c_str(), MNT_DETACH);
    EXPECT_EQ(logCount("Error: Cannot read SMS file " + path + ", errno 5 (Input/output error)"),
              1U);
    EXPECT_FALSE(logContains("deleting"));
    EXPECT_TRUE(fileExists(path));
}

TEST_F(SmsFlow, FullMemory_IsEmptiedInSeveralChecks) {
    start({{"sms", {{"capacity", 5}}}});
    initSMS(ROOT);
    for (int i = 0; i < 17; ++i)
        inject({{"from", "22255"}, {"text", "message " + std::to_string(i)}});
    for (int i = 0; i < 4; ++i)
        check();
    EXPECT_EQ(received().size(), 17U);
    EXPECT_EQ(device.modem.i_sms_received, 17U);
}

TEST_F(SmsFlow, FiftyFiles_ArriveOnceOrEndInSendFail) {
    start();
    initSMS(ROOT);
    const char* const odd[] = {"a;touch pwned", "$(id)", " blanks  ", "quo\"te'", "-rf", "`id`"};
    std::set<std::string> texts;
    for (int i = 0; i < 50; ++i) {
        const std::string name = i < 6 ? odd[i] : "file" + std::to_string(i);
        const std::string begin = i % 10 == 9 ? std::string(290, 'x') : "";
        const std::string text = begin + "text-" + std::to_string(i);
        texts.insert(text);
        writeFile(ROOT + "/send/" + name, "TO=+12025550123\nMSG=" + text + "\n");
    }
    const json faults[] = {
        {{"prefix", "AT+CMGS="}, {"kind", "error"}, {"count", 1}},
        {{"prefix", "AT+CMGS="}, {"kind", "cms"}, {"number", 500}, {"count", 3}},
        {{"prefix", ""}, {"stage", "data"}, {"kind", "cms"}, {"number", 500}, {"count", 1}},
        {{"prefix", ""}, {"stage", "data"}, {"kind", "silence"}, {"count", 1}},
    };
    std::vector<std::string> left;
    for (int checks = 0; readFilesInDir(ROOT + "/send", left) == 0 && !left.empty(); ++checks) {
        ASSERT_LT(checks, 400);
        if (below(4) == 0) {
            json request = faults[below(static_cast<int>(std::size(faults)))];
            request["op"] = "fault";
            order(request);
        }
        check();
    }
    // Of a long message only the last part counts: an earlier attempt may have sent the others.
    tTexts arrived;
    const json state = sms();
    for (const json& one : state.at("sent")) {
        const std::string text = one.at("text").get<std::string>();
        if (!one.contains("part") || one.at("part") == one.at("total")) ++arrived[text];
    }
    unsigned sent = 0;
    unsigned failed = 0;
    for (const auto& [dir, count, times] :
         {std::tuple("/send_ok", &sent, 1), std::tuple("/send_fail", &failed, 0)}) {
        for (const auto& entry : std::filesystem::directory_iterator(ROOT + dir)) {
            std::string text = findNeedleString(readFile(entry.path().string()), "MSG=", "\n");
            EXPECT_EQ(texts.erase(text), 1U) << text;
            if (text.size() > 160) text = text.substr(text.size() / 153 * 153);
            EXPECT_EQ(arrived.count(text) != 0 ? arrived[text] : 0, times) << text;
            ++*count;
        }
    }
    EXPECT_TRUE(texts.empty());
    EXPECT_EQ(sent + failed, 50U);
    EXPECT_EQ(device.modem.i_sms_sent, sent);
    EXPECT_EQ(device.modem.i_sms_sent_fail, failed);
    EXPECT_FALSE(fileExists("pwned"));
}

TEST_F(SmsFlow, MessageListedBeforeAPowerCut_IsDeliveredAfterIt) {
    cutPowerAfterListing();
    commands();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(received(), (tTexts{{"22255|restart pump 3", 1}}));
    EXPECT_EQ(commands(), TAKING_READ_ONES);
    EXPECT_TRUE(isModemEmpty());
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(commands(), TAKING);
}

TEST_F(SmsFlow, MessageListedBeforeAPowerCut_StaysUntilItCanBeListed) {
    cutPowerAfterListing();
    order({{"op", "fault"}, {"match", "AT+CMGL=1"}, {"kind", "error"}, {"count", 1}});
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_FALSE(isModemEmpty());
    startHostAgain();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(received(), (tTexts{{"22255|restart pump 3", 1}}));
}

TEST_F(SmsFlow, StartWithoutACutOffListing_TakesOnlyTheUnreadMessages) {
    start();
    startDaemonAgain();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(readFile(NOTE), hostBootId() + "\n");
    EXPECT_EQ(commands(), TAKING) << "the first start ever";
    startDaemonAgain();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(commands(), TAKING) << "killed, on the same start of the host";
    endListings(ROOT);
    EXPECT_FALSE(fileExists(NOTE));
    startHostAgain();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(commands(), TAKING) << "ended in an orderly way";
}

TEST_F(SmsFlow, ListingThatIsOpenAtTheEnd_KeepsItsNote) {
    start();
    startDaemonAgain();
    order({{"op", "fault"}, {"match", "AT+CMGL=0"}, {"kind", "silence"}, {"count", 1}});
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    endListings(ROOT);
    EXPECT_TRUE(fileExists(NOTE));
    startHostAgain();
    commands();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(commands(), TAKING_READ_ONES);
}

TEST_F(SmsFlow, NoteOfTheListing_IsWrittenOnceInARun) {
    start();
    startDaemonAgain();
    EXPECT_EQ(check(), eSUCCESS);
    sFileIdentity first;
    sFileIdentity second;
    EXPECT_TRUE(identifyFile(NOTE, first));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(check(), eSUCCESS);
    startDaemonAgain();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(identifyFile(NOTE, second));
    EXPECT_TRUE(first == second);
}

TEST_F(SmsFlow, NoteThatCannotBeWritten_KeepsNoMessageAway) {
    start();
    const cMountedFolder full(STORAGE_FOLDER, "size=4k");
    writeFile(full.folder() + "/full", std::string(4096, 'x'));
    startDaemonAgain();
    for (const char* text : {"restart pump 3", "stop pump 4"}) {
        inject({{"from", "22255"}, {"text", text}});
        EXPECT_EQ(check(), eSUCCESS);
    }
    EXPECT_EQ(received().size(), 2U);
    EXPECT_FALSE(fileExists(NOTE));
    EXPECT_EQ(logCount("Error: Cannot write file " + NOTE + ", errno 28 (No space left on device)"),
              1U);
}
