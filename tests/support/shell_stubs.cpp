#include "tests/support/shell_stubs.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace {

const char* const TOOLS[] = {"setup_cellint.sh", "systime.sh", "sledctl",
                             "ResetCellular",    "ping",       "gpsdctl"};

}  // namespace

cShellStubs::cShellStubs() : m_savedPath(getenv("PATH")) {
    for (const char* tool : TOOLS) {
        const std::string path = m_folder / tool;
        writeFile(path,
                  "#!/bin/sh\n"
                  "printf '%s\\n' \"${0##*/} $*\" >>\"${0%/*}/calls\"\n"
                  "read -r status <\"$0.status\"\n"
                  "exit \"$status\"\n");
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        setStatus(tool, 0);
    }
    setenv("PATH", (m_folder.path() + ":" + m_savedPath).c_str(), 1);
}

cShellStubs::~cShellStubs() {
    setenv("PATH", m_savedPath.c_str(), 1);
}

void cShellStubs::setStatus(const std::string& tool, int status) {
    writeFile(m_folder / (tool + ".status"), std::to_string(status) + "\n");
}

std::vector<std::string> cShellStubs::calls() const {
    std::istringstream text(readFile(m_folder / "calls"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> cShellStubs::waitForCalls(size_t count) const {
    for (int i = 0; i < 2000 && calls().size() < count; ++i)
        usleep(10000);
    return calls();
}

void cShellStubs::clear() {
    writeFile(m_folder / "calls", "");
}
