#ifndef PUBLISHED_HOST_BOOT_H
#define PUBLISHED_HOST_BOOT_H

#include <string>

// Data waits until the host has booted: until the file exists or the host has been up for this
// time.
constexpr unsigned BOOT_S = 180;
constexpr const char* BOOTED_FILE = "/var/run/poststart";

enum class eHostBoot {
    BOOTING,
    FILE_IS_THERE,
    UP_FOR_LONG,
};

// root: put before the path of the file, "" on a real host.
eHostBoot hostBoot(const std::string& root, double uptimeS);

// Seconds since the host was started, 0 if not known.
unsigned hostUptimeS();

// Differs from one start of the host to the next; empty if not known.
std::string hostBootId();

#endif
