#include "main/pid_file.h"

#include <unistd.h>

#include <fstream>

#include "include/debug.h"
#include "platform/include/text_helpers.h"

std::string g_s_pidfile_path = "/var/run";

int writePidFile(const std::string& programName, const std::string& port,
                 const std::string& directory) {
    if (programName.empty()) {
        debug(eLOG_ERROR, g_i_debugMode,
              "Error: Invalid program name given, cannot write pid file");
        return PID_FILE_ERROR;
    }
    const std::string path = directory + "/" + programName + "." + port + ".pid";
    debug(eLOG_MAIN, g_i_debugMode, "%s(): Looking for pid file %s", __func__, path.c_str());
    if (access(path.c_str(), F_OK) == 0) {
        const int oldPid = readPidFile(path);
        debug(eLOG_MAIN, g_i_debugMode, "%s(): Read old PID '%d' from %s", __func__, oldPid,
              path.c_str());
        if (isProcessRunning(oldPid, programName)) return PID_FILE_OTHER_RUNS;
    }

    const std::string pid = itos(getpid());
    std::ofstream file(path, std::ios::trunc);
    file << pid;
    if (!file.flush()) {
        debug(eLOG_NOTICE, g_i_debugMode, "Error: Unable to write pid %s to pidfile '%s'",
              pid.c_str(), path.c_str());
        return PID_FILE_ERROR;
    }
    debug(eLOG_NOTICE, g_i_debugMode, "Writing pid %s to pidfile '%s'", pid.c_str(), path.c_str());
    return PID_FILE_WRITTEN;
}

int readPidFile(const std::string& path) {
    std::ifstream file(path);
    int pid = 0;
    if (!(file >> pid)) return 0;
    return pid;
}

bool isProcessRunning(int pid, const std::string& programName) {
    const std::string path = "/proc/" + itos(pid) + "/cmdline";
    if (access(path.c_str(), F_OK) != 0) return false;
    debug(eLOG_MAIN, g_i_debugMode, "%s(): Found proc file %s", __func__, path.c_str());

    std::ifstream file(path);
    if (!file) return false;
    debug(eLOG_MAIN, g_i_debugMode, "%s(): Opened proc file %s", __func__, path.c_str());

    // The arguments are separated by NUL, so this is the first one.
    char commandLine[256] = {};
    file.read(commandLine, sizeof commandLine - 1);
    if (std::string(commandLine).find(programName) == std::string::npos) {
        debug(eLOG_MAIN, g_i_debugMode,
              "%s(): Program name '%s' from proc file does not match this name '%s'", __func__,
              commandLine, programName.c_str());
        return false;
    }
    debug(eLOG_MAIN, g_i_debugMode, "%s(): Proc file %s matches program name %s", __func__,
          path.c_str(), programName.c_str());
    return true;
}
