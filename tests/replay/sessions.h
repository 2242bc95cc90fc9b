#ifndef TESTS_REPLAY_SESSIONS_H
#define TESTS_REPLAY_SESSIONS_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

// A file that a session gives to the daemon while it runs.
struct sSessionFile {
    uint64_t ms = 0;
    std::string path;
    std::string text;
};

// A session that is made with the simulated modem because nobody has recorded it yet.
struct sSession {
    std::string name;
    std::string about;
    uint64_t seconds = 0;
    std::vector<std::string> config;  // lines, beside the usual ones
    std::vector<std::string> expect;  // KEY=value that the daemon must publish at its end
    std::vector<sSessionFile> files;
    nlohmann::json scenario;
};

// Throws std::exception with the name of the session that is wrong.
std::vector<sSession> readSessions(const std::string& path);

// Runs the daemon through a session and returns its recording. Needs private folders.
std::string recordSession(const sSession& session);

#endif
