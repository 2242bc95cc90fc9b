#ifndef TESTS_UNIT_LE910SIM_RUNNING_PROGRAM_H
#define TESTS_UNIT_LE910SIM_RUNNING_PROGRAM_H

#include <sys/types.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

// le910sim as a process, and what a test sees of it.
namespace le910sim {

constexpr int DEADLINE_MS = 120000;  // of each wait; bounds a failure only

// How long a modem is away that a test has to see away: longer than a busy machine stands still.
constexpr const char* AWAY_MS = "4000";

void sleepMs(int ms);

// Reads up to the wanted part. What follows may have come already or not, so it is left for the
// next reader.
std::string readUntil(int fd, const std::string& wanted);

// Sends a command as the daemon does, and reads its answer up to the wanted part.
std::string ask(int fd, const std::string& command, const std::string& until);

bool isLink(const std::string& path);
bool isThere(const std::string& path);
void awaitLink(const std::string& path, bool present);
void awaitContent(const std::string& path, const std::string& content);
// Until the program has opened its end of a terminal and set it up.
void awaitRaw(int fd);

// The program, started with its ports in a folder of its own. Killed if it still runs at the end.
class cProgram {
  public:
    // Started with only these arguments.
    static cProgram bare(const std::vector<std::string>& words) { return cProgram(words, sBare()); }
    explicit cProgram(const std::vector<std::string>& extra = {}, bool ownAtLink = true);
    ~cProgram();
    cProgram(const cProgram&) = delete;
    cProgram& operator=(const cProgram&) = delete;

    std::string at() const { return m_folder / "at"; }
    std::string gps() const { return m_folder / "gps"; }
    std::string socketPath() const { return m_folder / "control"; }
    std::string logPath() const { return m_folder / "log"; }
    // Its standard output and error, up to the wanted part.
    std::string said(const std::string& wanted) const { return readUntil(m_output, wanted); }

    // The caller closes what these two return.
    int open(const std::string& path) const;
    int connect() const;
    // The answer to an order at the control socket.
    nlohmann::json order(const std::string& line) const;

    // Its exit status, or minus the signal that ended it.
    int stop(int signal);
    int wait();

  private:
    struct sBare {};
    cProgram(const std::vector<std::string>& words, sBare /*bare*/);

    void start(const std::vector<std::string>& words);

    cTempFolder m_folder;
    pid_t m_pid = 0;
    int m_output = -1;
};

}  // namespace le910sim

#endif
