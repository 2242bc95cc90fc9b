#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "tests/matrix/own_folders.h"
#include "tests/replay/sessions.h"
#include "tests/support/temp_folder.h"

// make_recordings SESSIONS FOLDER [NAME]...: makes the recordings of the sessions in a file, or of
// those that are named, each in a process of its own.

namespace {

[[noreturn]] void makeInChild(const sSession& session, const std::string& folder) {
    try {
        // The folder is outside of those that become private.
        enterOwnFolders();
        writeFile(folder + "/" + session.name + ".jsonl", recordSession(session));
    } catch (const std::exception& problem) {
        fprintf(stderr, "make_recordings: %s\n", problem.what());
        _exit(EXIT_FAILURE);
    }
    _exit(EXIT_SUCCESS);
}

bool make(const sSession& session, const std::string& folder) {
    const pid_t child = fork();
    if (child == 0) makeInChild(session, folder);
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) return false;
    return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

bool isNamed(const std::string& name, int argc, char** argv) {
    if (argc <= 3) return true;
    for (int i = 3; i < argc; ++i)
        if (name == argv[i]) return true;
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "Usage: make_recordings SESSIONS FOLDER [NAME]...\n");
        return 2;
    }
    int failed = 0;
    for (const sSession& session : readSessions(argv[1]))
        if (isNamed(session.name, argc, argv) && !make(session, argv[2])) ++failed;
    return failed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
