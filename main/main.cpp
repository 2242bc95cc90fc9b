#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "include/debug.h"
#include "include/options.h"
#include "include/repeated_notices.h"
#include "include/repeated_starts.h"
#include "include/service_manager.h"
#include "main/command_line.h"
#include "main/pid_file.h"
#include "published/paths.h"
#include "statemachine/state_machine.h"

namespace {

constexpr int EXIT_REFUSED = 1;
constexpr int EXIT_ANSWERED = 0;
// Not a valid facility, so the C library keeps LOG_USER.
constexpr int LOG_FACILITY = 5;

void ignorePipe(int) {}

// If the daemon is started with one of them closed, the modem's port or the store could get the
// number of standard output, and the daemon would write its messages there.
void occupyStandardDescriptors() {
    int file = -1;
    do {
        file = open("/dev/null", O_RDWR);
    } while (file != -1 && file <= STDERR_FILENO);
    if (file != -1) close(file);
}

// A closed pipe on standard output must not end the daemon. This is a handler because every command
// that the daemon runs would inherit SIG_IGN.
void prepareOutput() {
    signal(SIGPIPE, ignorePipe);
    setvbuf(stdout, nullptr, _IOLBF, 0);
}

// Writes to the system log only, in any debug mode.
void logStart() {
    const std::string line = std::string("v") + PROGRAM_VERSION + " starting";
    const uint64_t repeated = categoryOfRepeated(line.c_str());
    if (repeated == 0)
        syslog(LOG_NOTICE, "%s", line.c_str());
    else
        debug(repeated, g_i_debugMode, "%s", line.c_str());
}

}  // namespace

// The C++ library calls it for an exception that nobody catches. Its own one prints the name of the
// type to standard error, and brings a demangler for that, 47 kB.
void __gnu_cxx::__verbose_terminate_handler() {
    const char* what = "no exception";
    const std::exception_ptr thrown = std::current_exception();
    try {
        if (thrown != nullptr) std::rethrow_exception(thrown);
    } catch (const std::exception& exception) {
        what = exception.what();
    } catch (...) {
        what = "of an unknown type";
    }
    syslog(LOG_NOTICE, "Error: Ended by an exception: %s", what);
    abort();
}

int main(int argc, char* argv[]) {
    occupyStandardDescriptors();
    g_i_debugMode = 0;
    const std::string programName = getProgramName();
    if (isVersionRequest(argc, argv)) {
        printVersion(programName);
        return EXIT_ANSWERED;
    }
    if (!parseArgs(argc, argv, g_S_options)) {
        usage(programName);
        return EXIT_REFUSED;
    }
    prepareOutput();
    connectServiceManager();
    openlog(nullptr, LOG_PID, LOG_FACILITY);
    beginStart(loggedFilePath(g_S_options.s_port));
    logStart();

    switch (writePidFile(programName, g_S_options.s_port, g_s_pidfile_path)) {
        case PID_FILE_WRITTEN:
            return runStateMachine();
        case PID_FILE_OTHER_RUNS:
            debug(eLOG_ERROR, g_i_debugMode, "Error: Another process is already running, exiting");
            return EXIT_REFUSED;
        default:
            debug(eLOG_ERROR, g_i_debugMode, "Error: Unable to write pid file, exiting");
            return EXIT_REFUSED;
    }
}
