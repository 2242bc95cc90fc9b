#include "published/host_boot.h"

#include <sys/stat.h>

#include <ctime>

#include "platform/include/text_helpers.h"

eHostBoot hostBoot(const std::string& root, double uptimeS) {
    struct stat info {};
    if (stat((root + BOOTED_FILE).c_str(), &info) == 0) return eHostBoot::FILE_IS_THERE;
    return uptimeS > BOOT_S ? eHostBoot::UP_FOR_LONG : eHostBoot::BOOTING;
}

unsigned hostUptimeS() {
    timespec now{};
    return clock_gettime(CLOCK_MONOTONIC, &now) == 0 ? static_cast<unsigned>(now.tv_sec) : 0;
}

std::string hostBootId() {
    constexpr size_t ID_MAX = 64;
    std::string id;
    readFile2String("/proc/sys/kernel/random/boot_id", id, ID_MAX);
    return cleanWhiteSpace(id);
}
