#include "agent/change_host.h"

#include <unistd.h>

#include <ctime>

#include "agent/program_run.h"
#include "cli/status/slot_report.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr const char* BOOT_FILE = "/proc/sys/kernel/random/boot_id";
constexpr size_t BOOT_MAX = 64;
constexpr long long CHECK_LIMIT_S = 30;
constexpr long long RELOAD_LIMIT_S = 30;
constexpr size_t OUTPUT_KEPT = 16 * 1024;

}  // namespace

std::string cChangeHost::boot() const {
    std::string id;
    readFile2String(m_places.at(BOOT_FILE), id, BOOT_MAX);
    return cleanEndWhiteSpace(id);
}

long long cChangeHost::runS() const {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec;
}

bool cChangeHost::check(const std::string& path, std::string& why) {
    const sProgramRun run =
        runProgram({m_program, "config", "check", "-q", path}, CHECK_LIMIT_S, OUTPUT_KEPT);
    why = run.output;
    return run.exit == 0;
}

bool cChangeHost::reload(int slot, std::string& why) {
    const sProgramRun run = runProgram({m_program, "reload", "-p", itos(slot), "--timeout", "20"},
                                       RELOAD_LIMIT_S, OUTPUT_KEPT);
    why = cleanEndWhiteSpace(run.output);
    return run.exit == 0;
}

bool cChangeHost::isConnected(int slot) {
    return reportSlot(m_places, slot, currentMoment()).isConnected();
}

void cChangeHost::pause() {
    sleep(1);
}
