#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstring>
#include <random>

#include "history/rrd_image.h"
#include "history/store_file.h"
#include "tests/unit/history/history_fixture.h"

namespace {

// The file with long steps: its head has everything that the other's has, and it is copied faster.
const sStore& slowStore() {
    return STORES.back();
}
constexpr uint64_t ODD_NUMBERS[] = {0, 1, 0xFFFFFFFFULL, 0x7FFFFFFFFFFFFFFFULL, UINT64_MAX};
constexpr unsigned LONGEST_S = 20;  // bounds a failure: an update that walks through every step

// As the service and a reader use a file. In a process of its own: librrd trusts what it reads.
std::string useOf(const std::string& path, time_t now) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(LONGEST_S);
        cRrdImage image;
        if (!image.load(path, slowStore())) _exit(1);
        for (const sArchive& archive : slowStore().archives)
            image.rows(archive, now - archive.lengthS(), now);
        image.update({{now + 10, std::vector<double>(slowStore().sources.size(), 1)}});
        image.rows(slowStore().archives.front(), now - DAY_S, now + 900);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? strsignal(WTERMSIG(status)) : WEXITSTATUS(status) == 0 ? "" : "no";
}

class DamagedStore : public HistoryTest {
  protected:
    DamagedStore() : path(historyPath(places, "1-slow.rrd")) {
        std::string error;
        EXPECT_TRUE(makeStoreFile(path, slowStore(), DAY, "", error)) << error;
        cRrdImage image;
        EXPECT_TRUE(image.load(path, slowStore()));
        good = read(path);
        size_t rows = 0;
        for (const sArchive& archive : slowStore().archives)
            rows += archive.rows;
        headBytes = good.size() - rows * slowStore().sources.size() * sizeof(double);
    }

    const std::string path;
    std::string good;
    size_t headBytes = 0;
};

}  // namespace

TEST_F(DamagedStore, AnyNumberOfTheHeadOverwritten_IsRefusedOrCanBeUsed) {
    ASSERT_EQ(useOf(path, DAY + HOUR_S), "");
    for (size_t at = 0; at + sizeof(uint64_t) <= headBytes; at += sizeof(uint64_t))
        for (const uint64_t number : ODD_NUMBERS) {
            std::string bytes = good;
            memcpy(&bytes[at], &number, sizeof number);
            if (bytes == good) continue;
            write(path, bytes);
            const std::string end = useOf(path, DAY + HOUR_S);
            EXPECT_TRUE(end.empty() || end == "no") << end << ": " << number << " at " << at;
        }
}

TEST_F(DamagedStore, OctetsOfTheHeadOverwritten_IsRefusedOrCanBeUsed) {
    std::mt19937 random(17);
    for (int i = 0; i < 1000; ++i) {
        std::string bytes = good;
        for (int change = 0; change < 3; ++change)
            bytes[random() % headBytes] = static_cast<char>(random());
        write(path, bytes);
        const std::string end = useOf(path, DAY + HOUR_S);
        EXPECT_TRUE(end.empty() || end == "no") << end << ", change " << i;
    }
}

TEST_F(DamagedStore, CutShort_IsRefused) {
    for (const size_t size : {size_t{0}, size_t{4}, headBytes / 2, headBytes, good.size() - 1}) {
        write(path, good.substr(0, size));
        EXPECT_EQ(useOf(path, DAY + HOUR_S), "no") << size;
    }
}

// No descriptor is left, as in a process that has too many open: years of figures stay where they
// are.
TEST_F(DamagedStore, GoodFileThatCannotBeReadNow_IsNotPutAside) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    const tFiles before = files();
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const int next = dup(STDERR_FILENO);
    close(next);
    // One for the file, none for its copy.
    const rlimit none = {static_cast<rlim_t>(next) + 1, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    std::string error;
    cSlotRecorder other(places, 1);
    const bool isStarted = other.start({DAY + 60, 60}, error);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_FALSE(isStarted);
    EXPECT_NE(error.find("cannot read "), std::string::npos) << error;
    EXPECT_TRUE(files() == before) << "a file was changed or put aside";
}
