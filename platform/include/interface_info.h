#ifndef PLATFORM_INCLUDE_INTERFACE_INFO_H
#define PLATFORM_INCLUDE_INTERFACE_INFO_H

struct sInterfaceInfo {
    static constexpr int NAME_SIZE = 18;  // 17 characters and the terminator
    char name[NAME_SIZE];
    bool active;     // the interface exists and is up
    unsigned flags;  // IFF_... of <net/if.h>
};

// Looks up the network interface named in info.name. Returns 0, or -1 with info.active false if
// there is no such interface.
int GetInterfaceInfo(sInterfaceInfo& info);

#endif
