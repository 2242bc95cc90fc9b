#include "include/service_manager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "include/utilities.h"
#include "platform/include/text_helpers.h"
#include "platform/include/timer_clock.h"

namespace {

constexpr uint64_t HEARTBEAT_MS = 1000;
constexpr uint64_t HEARTBEATS_A_PERIOD = 4;  // at least, so that one may be late
constexpr uint64_t US_PER_MS = 1000;

struct sServiceManager {
    int fd = -1;
    sockaddr_un address = {};
    socklen_t addressSize = 0;
    bool heartbeatWanted = false;
    uint64_t heartbeatMs = HEARTBEAT_MS;
    bool heartbeatSent = false;
    uint64_t lastHeartbeatMs = 0;
    std::string status;
};

sServiceManager g_serviceManager;

std::string takeVariable(const char* name) {
    const char* value = getenv(name);
    const std::string text = value != nullptr ? value : "";
    unsetenv(name);
    return text;
}

// A path, or with a leading @ a name in the abstract namespace; such an address begins with a zero
// byte.
bool setAddress(sServiceManager& manager, const std::string& name) {
    sockaddr_un& address = manager.address;
    address.sun_family = AF_UNIX;
    if (name.size() < 2 || (name[0] != '/' && name[0] != '@')) return false;
    if (name.size() >= sizeof address.sun_path) return false;
    std::copy(name.begin(), name.end(), address.sun_path);
    const bool isAbstract = name[0] == '@';
    if (isAbstract) address.sun_path[0] = '\0';
    manager.addressSize = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() +
                                                 (isAbstract ? 0 : 1));
    return true;
}

// WATCHDOG_PID, if set, names the process that the period applies to.
void readWatchdog(sServiceManager& manager, const std::string& period, const std::string& pid) {
    if (!isStringNumeric(period) || (!pid.empty() && pid != ltos(getpid()))) return;
    const uint64_t periodMs = strtoull(period.c_str(), nullptr, 10) / US_PER_MS;
    if (periodMs == 0) return;
    manager.heartbeatWanted = true;
    manager.heartbeatMs = std::min(HEARTBEAT_MS, periodMs / HEARTBEATS_A_PERIOD);
}

void sendMessage(const std::string& message) {
    const sServiceManager& manager = g_serviceManager;
    if (manager.fd == -1) return;
    sendto(manager.fd, message.data(), message.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&manager.address), manager.addressSize);
}

}  // namespace

void connectServiceManager() {
    if (g_serviceManager.fd != -1) close(g_serviceManager.fd);
    g_serviceManager = {};
    const std::string name = takeVariable("NOTIFY_SOCKET");
    const std::string period = takeVariable("WATCHDOG_USEC");
    const std::string pid = takeVariable("WATCHDOG_PID");
    if (!setAddress(g_serviceManager, name)) return;
    g_serviceManager.fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    readWatchdog(g_serviceManager, period, pid);
}

void notifyReady() {
    sendMessage("READY=1");
}

void notifyStopping() {
    sendMessage("STOPPING=1");
}

void notifyStatus(const std::string& line) {
    if (line == g_serviceManager.status) return;
    g_serviceManager.status = line;
    // A line end would begin another message.
    sendMessage("STATUS=" + blankControlCharacters(line));
}

void notifyAlive() {
    sServiceManager& manager = g_serviceManager;
    if (!manager.heartbeatWanted) return;
    const uint64_t now = timerClockMs();
    if (manager.heartbeatSent && now - manager.lastHeartbeatMs < manager.heartbeatMs) return;
    manager.heartbeatSent = true;
    manager.lastHeartbeatMs = now;
    sendMessage("WATCHDOG=1");
}
