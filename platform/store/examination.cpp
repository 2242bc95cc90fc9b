#include "platform/store/examination.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/store/store_value.h"

namespace {

constexpr rlim_t EXAMINATION_CPU_S = 2;  // a damaged tree may contain a circle

// Signals that end the examining child when LMDB meets damaged data.
constexpr int DAMAGE_SIGNALS[] = {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGXCPU};
constexpr int EXIT_SOUND = 0;
constexpr int EXIT_DAMAGED = 1;

void limitChild() {
    for (const int signal : DAMAGE_SIGNALS) {
        std::signal(signal, SIG_DFL);
    }
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    const rlimit cpuTime{EXAMINATION_CPU_S, EXAMINATION_CPU_S + 1};
    setrlimit(RLIMIT_CPU, &cpuTime);
}

using tEntries = std::vector<std::pair<std::string, std::string>>;

constexpr MDB_dbi FREE_PAGES = 0;  // LMDB's own list of reusable pages

// The pages that one transaction freed: their count, then their numbers in descending order.
bool isPageList(const std::string& value, size_t lastPage) {
    std::vector<size_t> numbers(value.size() / sizeof(size_t));
    if (numbers.empty()) return false;
    memcpy(numbers.data(), value.data(), numbers.size() * sizeof(size_t));
    if (numbers[0] != numbers.size() - 1) return false;
    const auto first = numbers.begin() + 1;
    const auto isInFile = [&](size_t page) { return page > 1 && page <= lastPage; };
    return std::is_sorted(first, numbers.end(), std::greater<>()) &&
           std::all_of(first, numbers.end(), isInFile);
}

// Copies every entry, so that each byte is read.
int readEntries(MDB_txn* transaction, MDB_dbi database, tEntries& entries) {
    MDB_cursor* cursor = nullptr;
    int result = mdb_cursor_open(transaction, database, &cursor);
    MDB_val key{};
    MDB_val value{};
    while (result == 0 && (result = mdb_cursor_get(cursor, &key, &value, MDB_NEXT)) == 0) {
        entries.emplace_back(toText(key), toText(value));
    }
    MDB_stat counted{};
    if (result == MDB_NOTFOUND) result = mdb_stat(transaction, database, &counted);
    if (cursor != nullptr) mdb_cursor_close(cursor);
    return result == 0 && counted.ms_entries != entries.size() ? MDB_CORRUPTED : result;
}

// A page that is free twice would be used twice.
bool areDistinct(const tEntries& lists) {
    std::set<size_t> seen;
    for (const auto& [transaction, value] : lists) {
        std::vector<size_t> numbers(value.size() / sizeof(size_t));
        memcpy(numbers.data(), value.data(), numbers.size() * sizeof(size_t));
        for (size_t i = 1; i < numbers.size(); ++i)
            if (!seen.insert(numbers[i]).second) return false;
    }
    return true;
}

int readFreePages(MDB_txn* transaction, size_t lastPage) {
    tEntries entries;
    const int result = readEntries(transaction, FREE_PAGES, entries);
    if (result != 0) return result;
    const bool areLists = std::all_of(entries.begin(), entries.end(), [&](const auto& entry) {
        return isPageList(entry.second, lastPage);
    });
    return areLists && areDistinct(entries) ? 0 : MDB_CORRUPTED;
}

}  // namespace

int readEverything(MDB_env* environment, size_t mapBytes) {
    MDB_txn* transaction = nullptr;
    MDB_dbi database = FREE_PAGES;
    MDB_envinfo info{};
    MDB_stat pages{};
    int result = mdb_txn_begin(environment, nullptr, MDB_RDONLY, &transaction);
    // After the transaction has begun: pages that others add meanwhile only raise the last page.
    if (result == 0) result = mdb_env_info(environment, &info);
    if (result == 0) result = mdb_env_stat(environment, &pages);
    if (result == 0 && info.me_last_pgno >= mapBytes / pages.ms_psize) return MDB_CORRUPTED;
    if (result == 0) result = readFreePages(transaction, info.me_last_pgno);
    if (result == 0) result = mdb_dbi_open(transaction, nullptr, 0, &database);
    if (result != 0) return result;
    tEntries entries;
    return readEntries(transaction, database, entries);
}

bool showsDamage(int result) {
    return result == MDB_INVALID || result == MDB_VERSION_MISMATCH || result == MDB_CORRUPTED ||
           result == MDB_PAGE_NOTFOUND || result == MDB_PANIC || result == MDB_BAD_TXN ||
           result == MDB_CURSOR_FULL || result == MDB_MAP_RESIZED || result == MDB_INCOMPATIBLE;
}

void failOnDamage(MDB_env* environment) {
    mdb_env_set_assert(environment, [](MDB_env*, const char*) { _exit(EXIT_DAMAGED); });
}

bool passesExamination(const std::function<bool()>& isSound) {
    const pid_t child = fork();
    if (child == 0) {
        limitChild();
        _exit(isSound() ? EXIT_SOUND : EXIT_DAMAGED);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return true;
    }
    if (child < 0) return true;
    if (WIFEXITED(status)) return WEXITSTATUS(status) != EXIT_DAMAGED;
    return std::find(std::begin(DAMAGE_SIGNALS), std::end(DAMAGE_SIGNALS), WTERMSIG(status)) ==
           std::end(DAMAGE_SIGNALS);
}
