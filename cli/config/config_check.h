#ifndef CLI_CONFIG_CONFIG_CHECK_H
#define CLI_CONFIG_CONFIG_CHECK_H

#include <string>
#include <vector>

// How the daemon reads a configuration file, found out with its own reader. Passwords are always
// masked.

enum class eConfigVerdict {
    TAKEN,     // as written
    DEFAULT,   // not in the file, or without a value
    REFUSED,   // not accepted; another value is in force
    NOT_USED,  // another key makes it meaningless
};

struct sConfigKeyReport {
    std::string key;
    eConfigVerdict verdict;
    std::string written;
    std::string inForce;
    std::string reason;  // why the value is not used, if known
};

// A line that is not used as its writer probably meant it.
struct sConfigFinding {
    int line;                          // the first is 1
    std::string what;                  // "CM_MTU is '9000'"
    std::vector<std::string> details;  // what is allowed, what is used instead, and why
};

struct sConfigReport {
    bool readable = false;
    std::vector<sConfigKeyReport> keys;
    std::vector<sConfigFinding> findings;  // in the order of their lines
};

sConfigReport checkConfig(const std::string& path);

#endif
