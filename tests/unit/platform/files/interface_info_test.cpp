#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "platform/include/interface_info.h"

namespace {

int ask(const std::string& name, sInterfaceInfo& info) {
    info = {};
    memcpy(info.name, name.data(), std::min(name.size(), sizeof info.name));
    info.active = true;
    return GetInterfaceInfo(info);
}

// In a private network namespace: 0 if a fresh loopback interface, which is down, was distinguished
// from one that is up; -1 if namespaces are not allowed.
int compareDownAndUp() {
    if (unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return -1;
    sInterfaceInfo info{};
    if (ask("lo", info) != 0 || info.active) return 1;
    ifreq request{};
    memcpy(request.ifr_name, "lo", 3);
    request.ifr_flags = IFF_UP;
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (ioctl(descriptor, SIOCSIFFLAGS, &request) != 0) return 2;
    return ask("lo", info) == 0 && info.active ? 0 : 3;
}

}  // namespace

TEST(GetInterfaceInfo, Loopback_Exists) {
    sInterfaceInfo info{};
    EXPECT_EQ(ask("lo", info), 0);
    EXPECT_EQ(info.active, (info.flags & IFF_UP) != 0);
    EXPECT_NE(info.flags & IFF_LOOPBACK, 0u);
}

TEST(GetInterfaceInfo, InterfaceThatIsDown_ExistsButIsNotActive) {
    const pid_t child = fork();
    if (child == 0) _exit(compareDownAndUp() & 0xFF);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "255: no namespace to be had";
}

TEST(GetInterfaceInfo, InvalidNames_AreRefused) {
    for (const std::string& name : {std::string("nosuchif0"), std::string(), std::string(16, 'l'),
                                    std::string(17, 'l'), std::string(18, 'l')}) {
        sInterfaceInfo info{};
        EXPECT_EQ(ask(name, info), -1) << name;
        EXPECT_FALSE(info.active) << name;
        EXPECT_EQ(info.flags, 0u) << name;
    }
}
