#include "cli/status/status_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/unit/cli/fixture.h"

using std::string_literals::operator""s;

namespace {

struct sDefectCase {
    const char* what;
    std::string text;
    eStatusFile state;
    const char* defect;
};

std::string withLine(const std::string& line) {
    return "#File generated \n" + line + "\n" + recordedStatus("healthy");
}

// Runs action as a user without rights; root may read everything.
template <typename tWork>
void asNobody(const tWork& work) {
    constexpr uid_t NOBODY = 65534;
    const uid_t before = geteuid();
    ASSERT_EQ(seteuid(before == 0 ? NOBODY : before), 0);
    work();
    ASSERT_EQ(seteuid(before), 0);
}

}  // namespace

TEST(StatusFile, EveryRecording_IsGoodAndHasItsKeys) {
    for (const auto& entry : std::filesystem::directory_iterator(STATUS_DATA)) {
        if (entry.path().extension() != ".status") continue;
        const sStatusFile file = parseStatus(readFile(entry.path()), 1);
        EXPECT_EQ(file.state, eStatusFile::GOOD) << entry.path() << file.defect;
        EXPECT_EQ(file.record.text({"MODEL"}), "LE910-NA V2") << entry.path();
        EXPECT_EQ(file.record.number({"SMS_RECV"}), 0) << entry.path();
    }
}

TEST(StatusFile, CutAtAnyByte_IsCutShortAndHasNoRecord) {
    const std::string whole = recordedStatus("healthy");
    for (size_t length = 0; length < whole.size(); ++length) {
        const sStatusFile file = parseStatus(whole.substr(0, length), 1);
        ASSERT_EQ(file.state, eStatusFile::CUT_SHORT) << length;
        ASSERT_TRUE(file.record.values.empty()) << length;
    }
}

TEST(StatusFile, TextThatNoDaemonWrites_IsDamagedAndSaysWhere) {
    const std::string healthy = recordedStatus("healthy");
    const sDefectCase cases[] = {
        {"other slot", recordedStatus("healthy", 2), eStatusFile::DAMAGED,
         "is damaged: line 2 is not a key of this slot"},
        {"no key", withLine("hello"), eStatusFile::DAMAGED,
         "is damaged: line 2 is not a key of this slot"},
        {"empty key", withLine("CELLMODEM1_=x"), eStatusFile::DAMAGED,
         "is damaged: line 2 has an invalid key"},
        {"odd key", withLine("CELLMODEM1_a b=x"), eStatusFile::DAMAGED,
         "is damaged: line 2 has an invalid key"},
        {"long key", withLine("CELLMODEM1_" + std::string(65, 'K') + "=x"), eStatusFile::DAMAGED,
         "is damaged: line 2 has an invalid key"},
        {"key twice", withLine("CELLMODEM1_X=1\nCELLMODEM1_X=2"), eStatusFile::DAMAGED,
         "is damaged: line 3 repeats a key"},
        {"escape sequence", withLine("CELLMODEM1_X=\x1b[2J"), eStatusFile::DAMAGED,
         "is damaged: line 2 contains control characters"},
        {"in a comment", withLine("#\x1b[2J"), eStatusFile::DAMAGED,
         "is damaged: line 2 contains control characters"},
        {"NUL", withLine("CELLMODEM1_X=a\0b"s), eStatusFile::DAMAGED,
         "is damaged: line 2 contains control characters"},
        {"carriage return", withLine("CELLMODEM1_X=a\r"), eStatusFile::DAMAGED,
         "is damaged: line 2 contains control characters"},
        {"no time", withValue(healthy, "STATS_LAST_UPDATE_E", "soon"), eStatusFile::DAMAGED,
         "is damaged: its time of writing is missing or invalid"},
        {"time before all times", withValue(healthy, "STATS_LAST_UPDATE_E", "-9223372036854775808"),
         eStatusFile::DAMAGED, "is damaged: its time of writing is missing or invalid"},
        {"too big", healthy + std::string(65536, '#') + "\n", eStatusFile::DAMAGED,
         "is too long for a status file"},
        {"a line after the last", healthy + "CELLMODEM1_MORE=1\n", eStatusFile::CUT_SHORT,
         "is truncated"},
        {"nothing", "", eStatusFile::CUT_SHORT, "is empty"},
    };
    for (const sDefectCase& row : cases) {
        const sStatusFile file = parseStatus(row.text, 1);
        EXPECT_EQ(file.state, row.state) << row.what;
        EXPECT_EQ(file.defect, row.defect) << row.what;
        EXPECT_TRUE(file.record.values.empty()) << row.what;
    }
}

TEST(StatusFile, BytesAbove127_AreKept) {
    const std::string text =
        withValue(recordedStatus("healthy"), "CARRIER", "T\xe9l\xc3\xa9 Mobile");
    EXPECT_EQ(parseStatus(text, 1).record.text({"CARRIER"}), "T\xe9l\xc3\xa9 Mobile");
}

TEST(StatusRecord, TextThatIsNoNumber_ReadsAsNone) {
    const std::vector<std::string> notNumbers = {
        "", "-", "12x", " 1", "1 ", "+1", "nan", "inf", "0x10", "99999999999999999999"};
    for (const std::string& text : notNumbers) {
        const sStatusRecord record{{{"KEY", text}}};
        EXPECT_FALSE(record.number({"KEY"})) << text;
    }
    const sStatusRecord record{{{"A", "-98"}, {"B", "-9.5"}, {"C", "nan"}, {"D", "1e999"}}};
    EXPECT_EQ(record.number({"A"}), -98);
    EXPECT_EQ(record.decimal({"B"}), -9.5);
    EXPECT_FALSE(record.decimal({"C"}));
    EXPECT_FALSE(record.decimal({"D"}));
    EXPECT_FALSE(record.number({"MISSING"}));
    EXPECT_EQ(record.text({"MISSING"}), "");
}

TEST(ReadStatusFile, MissingLinkFifoFolder_AreDistinguishedWithoutBlocking) {
    const cStatusHost host;
    const std::string path = (host / "var/log/wireless.cardstats.1");
    EXPECT_EQ(readStatusFile(host.places(), 1).state, eStatusFile::MISSING);

    writeFile(host / "elsewhere", recordedStatus("healthy"));
    ASSERT_EQ(symlink((host / "elsewhere").c_str(), path.c_str()), 0);
    const sStatusFile link = readStatusFile(host.places(), 1);
    EXPECT_EQ(link.state, eStatusFile::UNREADABLE);
    EXPECT_EQ(link.defect, "is a symbolic link");

    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(readStatusFile(host.places(), 1).defect, "is not a regular file");

    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(readStatusFile(host.places(), 1).defect, "is not a regular file");
}

TEST(ReadStatusFile, WithoutRights_SaysSo) {
    cStatusHost host;
    host.writeStatus(1, recordedStatus("healthy"));
    ASSERT_EQ(chmod(host.places().root.c_str(), 0755), 0);
    ASSERT_EQ(chmod((host / "var/log/wireless.cardstats.1").c_str(), 0), 0);
    asNobody(
        [&] { EXPECT_EQ(readStatusFile(host.places(), 1).state, eStatusFile::NOT_PERMITTED); });
}
