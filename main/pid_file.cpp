#include "main/pid_file.h"

#include <unistd.h>

#include <cstdio>
#include <limits>

#include "include/debug.h"
#include "include/repeated_notices.h"
#include "platform/include/text_helpers.h"
#include "published/paths.h"

std::string g_s_pidfile_path = RUN_FOLDER;

namespace {

constexpr size_t PID_FILE_BYTES = 100;
constexpr size_t COMMAND_LINE_BYTES = 255;

bool writeText(const std::string& path, const std::string& text) {
    FILE* file = fopen(path.c_str(), "wxe");
    if (file == nullptr) return false;
    const bool written = fputs(text.c_str(), file) >= 0;
    return fclose(file) == 0 && written;
}

}  // namespace

int writePidFile(const std::string& programName, const std::string& port,
                 const std::string& directory) {
    if (programName.empty()) {
        debug(eLOG_ERROR, g_i_debugMode,
              "Error: Invalid program name given, cannot write pid file");
        return PID_FILE_ERROR;
    }
    const std::string path = pidFileIn(directory, programName, port);
    debug(eLOG_MAIN, g_i_debugMode, "%s(): Looking for pid file %s", __func__, path.c_str());
    if (access(path.c_str(), F_OK) == 0) {
        const int oldPid = readPidFile(path);
        debug(eLOG_MAIN, g_i_debugMode, "%s(): Read old PID '%d' from %s", __func__, oldPid,
              path.c_str());
        if (isProcessRunning(oldPid, programName)) return PID_FILE_OTHER_RUNS;
    }

    const std::string pid = itos(getpid());
    const cVaryingNumbers pids;
    // Always a new file, so that no link is followed and no FIFO blocks.
    unlink(path.c_str());
    if (!writeText(path, pid)) {
        debug(eLOG_NOTICE, g_i_debugMode, "Error: Unable to write pid %s to pidfile '%s'",
              pid.c_str(), path.c_str());
        return PID_FILE_ERROR;
    }
    debug(eLOG_NOTICE, g_i_debugMode, "Writing pid %s to pidfile '%s'", pid.c_str(), path.c_str());
    return PID_FILE_WRITTEN;
}

int readPidFile(const std::string& path) {
    std::string text;
    if (!readFile2String(path, text, PID_FILE_BYTES)) return 0;
    const long long pid = textToLong(text);
    using tLimits = std::numeric_limits<int>;
    return pid >= tLimits::min() && pid <= tLimits::max() ? static_cast<int>(pid) : 0;
}

bool isProcessRunning(int pid, const std::string& programName) {
    const std::string path = "/proc/" + itos(pid) + "/cmdline";
    if (access(path.c_str(), F_OK) != 0) return false;
    debug(eLOG_MAIN, g_i_debugMode, "%s(): Found proc file %s", __func__, path.c_str());

    std::string commandLine;
    if (!readFile2String(path, commandLine, COMMAND_LINE_BYTES)) return false;
    debug(eLOG_MAIN, g_i_debugMode, "%s(): Opened proc file %s", __func__, path.c_str());

    // The arguments are separated by NUL.
    const std::string firstArgument = commandLine.substr(0, commandLine.find('\0'));
    if (firstArgument.find(programName) == std::string::npos) {
        debug(eLOG_MAIN, g_i_debugMode,
              "%s(): Program name '%s' from proc file does not match this name '%s'", __func__,
              firstArgument.c_str(), programName.c_str());
        return false;
    }
    debug(eLOG_MAIN, g_i_debugMode, "%s(): Proc file %s matches program name %s", __func__,
          path.c_str(), programName.c_str());
    return true;
}
