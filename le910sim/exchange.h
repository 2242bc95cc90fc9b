#ifndef LE910SIM_EXCHANGE_H
#define LE910SIM_EXCHANGE_H

#include <cstdint>
#include <string>

namespace le910sim {

// A command and its answer, without the echo.
struct sExchange {
    uint64_t timeMs = 0;
    std::string port;  // "at" or "gps"
    std::string command;
    std::string reply;
};

}  // namespace le910sim

#endif
