#ifndef CLI_CONFIG_CHECK_H
#define CLI_CONFIG_CHECK_H

#include <string>
#include <vector>

// What the daemon makes of a configuration file, found out with its own reader. Passwords are
// masked everywhere.

enum class eConfigVerdict {
    TAKEN,     // as written
    DEFAULT,   // not in the file, or without a value
    REFUSED,   // something else applies than what is written
    NOT_USED,  // another key makes it meaningless
};

struct sConfigKeyReport {
    std::string key;
    eConfigVerdict verdict;
    std::string written;
    std::string inForce;
    std::string reason;  // for what is not taken; "" for a default: not in the file
};

struct sConfigReport {
    bool readable = false;
    std::vector<sConfigKeyReport> keys;
    std::vector<std::string> problems;  // of the file itself: unknown keys and the like

    size_t findings() const;  // refused values and problems
};

sConfigReport checkConfig(const std::string& path);

#endif
