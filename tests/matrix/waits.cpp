#include "tests/matrix/waits.h"

namespace {

struct sWaitRow {
    const char* start;
    uint64_t timeoutS;
};

// The first row that matches counts; other commands have a time-out of 0.
const sWaitRow WAITS[] = {
    {"AT#CFVR", 2},    {"AT+COPN", 10},       {"AT#GPIO=2,2", 2}, {"AT#GPIO=2,", 10},
    {"AT#GPIO=1,", 2}, {"AT#SLED", 2},        {"AT+COPS=?", 0},   {"AT+COPS=", 2},
    {"AT#AUTOBND", 2}, {"AT#BND=", 2},        {"AT+WS46", 2},     {"AT#REBOOT", 2},
    {"AT+CGATT=", 15}, {"AT+CGACT=", 5},      {"AT+CMGL", 10},    {"AT+CMGD", 2},
    {"AT+CSCS", 2},    {"AT$GPSNMUN", 2},     {"AT#PORTCFG", 2},  {"AT$GPSD", 2},
    {"AT$GPSGPIO", 2}, {"AT$GPSSERSPEED", 2}, {"AT$GPSP=", 2},    {"AT$GPSSAV", 2},
};

constexpr uint64_t MESSAGE_TIMEOUT_S = 60;
constexpr uint64_t GPS_PROBE_TIMEOUT_S = 1;
constexpr char CTRL_Z = 26;

uint64_t timeoutS(const std::string& command) {
    if (command.back() == CTRL_Z) return MESSAGE_TIMEOUT_S;
    if (command == "AT") return GPS_PROBE_TIMEOUT_S;  // 0 on the other port
    for (const sWaitRow& row : WAITS)
        if (command.compare(0, std::string(row.start).size(), row.start) == 0) return row.timeoutS;
    return 0;
}

}  // namespace

uint64_t answerWaitMs(const std::string& command) {
    return command.empty() ? 0 : 1000 * (timeoutS(command) + 1);
}
