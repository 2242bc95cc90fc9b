#include <cstring>
#include <map>

#include "fuzz/check.h"
#include "fuzz/input.h"
#include "fuzz/scripted_port.h"
#include "gps/telit_gps.h"
#include "include/shell.h"
#include "platform/include/key_value_store.h"
#include "tests/support/record_bounds.h"

// The input is what the GPS port sends, in pieces, while the receiver is started and stopped.

namespace {

std::map<std::string, std::string> g_store;
std::string g_shellPath;

}  // namespace

// These replace functions of the platform and the daemon, so that nothing leaves the process.

int skvs_set(const char* key, const char* value) {
    check(!hasControlCharacter(value), "no control character in the store", value);
    g_store[key] = value;
    return 0;
}

int skvs_get(const char* key, char* buffer, size_t size) {
    const auto entry = g_store.find(key);
    if (entry == g_store.end()) return -1;
    snprintf(buffer, size, "%s", entry->second.c_str());
    return static_cast<int>(entry->second.size());
}

int runShellCommand(const std::string& command) {
    check(command == "timeout -t 5 gpsdctl add " + g_shellPath + " &>/dev/null" ||
              command == "timeout -t 5 gpsdctl remove " + g_shellPath + " &>/dev/null",
          "the command names the port and nothing else", command);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Two reads of the port for each answer, as on the bench.
    setenv("OVERRIDE_TEST_POLL_DELAY", "1", 1);
    g_store.clear();
    cScriptedPort port(cInput(data, size).takePieces(), cScriptedPort::eLink::TERMINAL);
    g_shellPath = port.path();

    cTelitGps gps;
    gps.init(port.path(), "1");
    std::string chipset;
    bool streamOn = false;
    const eGeneralErrors started = gps.gpsStart(chipset, streamOn);
    // After a failed start, a stream that could not be stopped still runs.
    check(streamOn || started != eERROR_DEVICE_GPS_START_STREAM_SUCCESS,
          "the stream is on when its start succeeded");
    check(gps.getStreamStatus() == streamOn, "the state of the stream is reported");
    check(!hasControlCharacter(chipset), "no control character in the chipset", chipset);
    checkNothingWrong(wrongInText(chipset), chipset);
    check(gps.getSkvsEnableCount() <= GPS_ENABLE_MAX, "attempts to enable are counted");

    const eGeneralErrors stopped = gps.gpsStop(streamOn);
    check(!streamOn || stopped == eERROR_DEVICE_GPS_STOP_STREAM_FAILURE,
          "the stream is off when its stop succeeded");
    return 0;
}
