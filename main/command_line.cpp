#include "main/command_line.h"

#include <getopt.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "include/debug.h"
#include "platform/include/text_helpers.h"
#include "published/slot.h"

namespace {

constexpr size_t PATH_BYTES = 4160;

// An option without a letter.
constexpr int RECORD_ALWAYS = 256;

const option LONG_OPTIONS[] = {
    {"Debug", required_argument, nullptr, 'D'},
    {"device", required_argument, nullptr, 'd'},
    {"gps", required_argument, nullptr, 'g'},
    {"port", required_argument, nullptr, 'p'},
    {"interface", required_argument, nullptr, 'i'},
    {"help", no_argument, nullptr, 'h'},
    {"record-always", no_argument, nullptr, RECORD_ALWAYS},
    {nullptr, 0, nullptr, 0},
};

bool isSlot(const std::string& text) {
    const int value = textToInt(text);
    return isStringNumeric(text) && value >= FIRST_SLOT && value <= LAST_SLOT;
}

}  // namespace

std::string getProgramName() {
    const std::unique_ptr<char[]> path(new (std::nothrow) char[PATH_BYTES + 1]());
    if (!path || readlink("/proc/self/exe", path.get(), PATH_BYTES) == -1) return "";
    const std::string text = path.get();
    const size_t slash = text.rfind('/');
    return slash == std::string::npos ? "" : text.substr(slash + 1);
}

bool parseArgs(int argc, char* argv[], sOptionArgs& options) {
    bool mayStart = true;
    optind = 0;
    int choice;
    while ((choice = getopt_long(argc, argv, "D:d:g:p:i:h", LONG_OPTIONS, nullptr)) != -1) {
        switch (choice) {
            case 'D':
                g_i_debugMode = strtoull(optarg, nullptr, 16);
                break;
            case 'd':
                options.s_device = optarg;
                break;
            case 'g':
                options.s_gps_device = optarg;
                break;
            case 'p':
                if (!isSlot(optarg)) break;
                options.s_port = optarg;
                mayStart = true;  // overrides an earlier -h
                break;
            case 'i':
                options.s_interface = optarg;
                break;
            case 'h':
                mayStart = false;
                break;
            case RECORD_ALWAYS:
                options.b_record_always = true;
                break;
            default:  // unknown option or missing argument: getopt has printed the error
                break;
        }
    }
    const bool complete = !options.s_device.empty() && !options.s_gps_device.empty() &&
                          !options.s_interface.empty() && !options.s_port.empty();
    return mayStart && complete;
}

bool isVersionRequest(int argc, char* argv[]) {
    return argc == 2 && strcmp(argv[1], "--version") == 0;
}

void printVersion(const std::string& programName) {
    printf("%s version %s\n", programName.c_str(), PROGRAM_VERSION);
}

void usage(const std::string& programName) {
    printf("\n%s version %s\n\n\n", programName.c_str(), PROGRAM_VERSION);
    printf("Usage: %s -d </dev/device> -g /dev/device -i <wwanN> -p <1-3>\n\n",
           programName.c_str());
    puts(" -d : Path of character device to open");
    puts(" -g : Path of character gps handle to open");
    puts(" -i : Interface name to use (wwanN)");
    puts(" -p : Sled Port slot of device");
    puts(" -h : this help output");
}
