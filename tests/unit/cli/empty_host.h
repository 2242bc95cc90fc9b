#ifndef TESTS_UNIT_CLI_EMPTY_HOST_H
#define TESTS_UNIT_CLI_EMPTY_HOST_H

#include <sys/stat.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "cli/base/failure.h"
#include "cli/base/places.h"
#include "cli/cellslot.h"
#include "tests/support/temp_folder.h"

// A host in a temporary folder, with the folders that the command searches.
class cEmptyHost {
  public:
    cEmptyHost() {
        for (const char* folder :
             {"/bin", "/dev", "/etc", "/etc/cellslot", "/etc/default", "/etc/vuk", "/etc/zoq",
              "/etc/zoq/wireless", "/proc", "/run", "/sys", "/sys/class", "/sys/class/net", "/tmp",
              "/tools", "/var", "/var/log", "/var/run"})
            folderAt(folder);
    }

    void folderAt(const std::string& path, mode_t mode = 0755) {
        mkdir(places.at(path).c_str(), mode);
        chmod(places.at(path).c_str(), mode);
    }

    void file(const std::string& path, const std::string& content, mode_t mode = 0644) {
        writeFile(places.at(path), content);
        chmod(places.at(path).c_str(), mode);
    }

    // A process with its command line, words separated by blanks.
    void process(int pid, std::string commandLine, const std::string& name) {
        const std::string folder = "/proc/" + std::to_string(pid);
        folderAt(folder);
        folderAt(folder + "/fd");
        for (char& c : commandLine)
            if (c == ' ') c = '\0';
        file(folder + "/cmdline", commandLine + '\0');
        file(folder + "/comm", name + "\n");
    }

    void daemon(int slot, int pid, const std::string& arguments = "") {
        process(pid, "/usr/sbin/cellslotd -p " + std::to_string(slot) + arguments, "cellslotd");
        file("/var/run/cellslotd." + std::to_string(slot) + ".pid", std::to_string(pid));
    }

    // A status file with these values.
    void status(int slot, const std::vector<std::pair<std::string, std::string>>& values) {
        const std::string prefix = "CELLMODEM" + std::to_string(slot) + "_";
        std::string text = prefix + "STATS_LAST_UPDATE_E=1600000000\n";
        for (const auto& [key, value] : values)
            text += prefix + key + "=" + value + "\n";
        file("/var/log/wireless.cardstats." + std::to_string(slot), text + prefix + "SMS_RECV=0\n");
    }

  private:
    cTempFolder m_folder;

  public:
    const sPlaces places{m_folder.path()};
};

// The exit status with which a call that may end early would end the program.
template <class tCall>
eExitStatus statusOf(tCall call) {
    try {
        call();
        return eExitStatus::OK;
    } catch (const cFailure& failure) {
        return failure.status;
    }
}

// Runs a command line on that host.
struct sCommandRun {
    eExitStatus status;
    std::string out;
    std::string err;
};

inline sCommandRun runOn(const cEmptyHost& host, std::vector<const char*> words,
                         const std::string& input = "") {
    std::istringstream in(input);
    std::ostringstream out;
    std::ostringstream err;
    sCliContext context{host.places, in, out};
    words.insert(words.begin(), "cellslot");
    const eExitStatus status =
        runCellslot(static_cast<int>(words.size()), words.data(), context, err);
    return {status, out.str(), err.str()};
}

#endif
