#include "platform/include/interface_info.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>

#include "platform/files/file_descriptor.h"

int GetInterfaceInfo(sInterfaceInfo& info) {
    info.active = false;
    info.flags = 0;
    const size_t length = strnlen(info.name, sizeof info.name);
    ifreq request{};
    // The kernel's names are shorter than ours may be; no interface has a longer name.
    if (length == 0 || length >= sizeof request.ifr_name) return -1;
    memcpy(request.ifr_name, info.name, length);

    const cFileDescriptor socketHandle(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socketHandle.isOpen()) return -1;
    if (ioctl(socketHandle.get(), SIOCGIFFLAGS, &request) != 0) return -1;
    info.flags = static_cast<unsigned short>(request.ifr_flags);
    info.active = (info.flags & IFF_UP) != 0;
    return 0;
}
