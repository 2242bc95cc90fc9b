#ifndef TESTS_UNIT_CLI_FIXTURE_H
#define TESTS_UNIT_CLI_FIXTURE_H

#include <string>
#include <vector>

#include "cli/base/exit_status.h"
#include "cli/status/slot_report.h"
#include "tests/support/temp_folder.h"

// A booted host in a folder, with the configurations, status files and daemons that a test puts
// there. The recorded status files were written at RECORDED_S.
constexpr time_t RECORDED_S = 1795246938;
constexpr unsigned LONG_UP_S = 100000;

struct sStatusRun {
    eExitStatus status;
    std::string out;
    std::string err;
};

class cStatusHost {
  public:
    cStatusHost();

    sPlaces places() const { return {m_folder.path()}; }
    std::string operator/(const std::string& path) const { return m_folder / path; }

    // A process with the command line of cellslotd, and its pid file.
    void startDaemon(int slot);
    void endDaemon(int slot);
    void configure(int slot, const std::string& text);
    void writeStatus(int slot, const std::string& text);
    // A healthy slot, or one from another recording; with the modem's port.
    void addSlot(int slot, const std::string& recording);

    // Some seconds after the recordings were made. Interfaces of this machine are not read.
    sSlotReport report(int slot, long long ageS = 1) const;
    sStatusRun run(const std::vector<std::string>& arguments) const;

  private:
    cTempFolder m_folder;
};

// A recorded status file, as if the daemon of the slot had written it.
std::string recordedStatus(const std::string& recording, int slot = 1);
// With the value of a key replaced, the key without prefix.
std::string withValue(const std::string& status, const std::string& key, const std::string& value);

std::string joinLines(const std::vector<std::string>& lines);

#endif
