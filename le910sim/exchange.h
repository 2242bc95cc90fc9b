#ifndef LE910SIM_EXCHANGE_H
#define LE910SIM_EXCHANGE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace le910sim {

enum ePort : size_t { ePORT_AT = 0, ePORT_GPS = 1 };
constexpr size_t PORT_COUNT = 2;

// A command and its answer, without the echo.
struct sExchange {
    uint64_t timeMs = 0;
    std::string port;  // "at" or "gps"
    std::string command;
    std::string reply;
};

}  // namespace le910sim

#endif
