#ifndef MAIN_PID_FILE_H
#define MAIN_PID_FILE_H

#include <string>

extern std::string g_s_pidfile_path;

constexpr int PID_FILE_WRITTEN = 1;  // this is the only instance
constexpr int PID_FILE_OTHER_RUNS = 0;
constexpr int PID_FILE_ERROR = -1;

// Takes the pid file of a program and slot. Returns one of PID_FILE_...; does not change the file
// of another running instance. The file remains when the daemon ends: its pid no longer matches
// then.
int writePidFile(const std::string& programName, const std::string& port,
                 const std::string& directory);

// The number in a pid file, 0 if there is none.
int readPidFile(const std::string& path);

// Whether the process exists and its command line contains the program name.
bool isProcessRunning(int pid, const std::string& programName);

#endif
