#include "cli/base/daemon_process.h"

#include <fstream>

namespace {

std::string fileNameOf(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

int recordedPid(const sPlaces& places, int slot) {
    std::ifstream file(places.at(pidFilePath(slot)));
    int pid = 0;
    return file >> pid && pid > 0 ? pid : 0;
}

bool isDaemon(const sPlaces& places, int pid) {
    if (pid <= 0) return false;
    // NUL separates the arguments; a zombie has none.
    std::ifstream file(places.at("/proc/" + std::to_string(pid) + "/cmdline"), std::ios::binary);
    std::string program;
    std::getline(file, program, '\0');
    return fileNameOf(program) == DAEMON_NAME;
}

int runningDaemon(const sPlaces& places, int slot) {
    const int pid = recordedPid(places, slot);
    return isDaemon(places, pid) ? pid : 0;
}

std::vector<int> runningSlots(const sPlaces& places) {
    std::vector<int> slots;
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot) {
        if (runningDaemon(places, slot) != 0) slots.push_back(slot);
    }
    return slots;
}
