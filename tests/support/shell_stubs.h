#ifndef TESTS_SUPPORT_SHELL_STUBS_H
#define TESTS_SUPPORT_SHELL_STUBS_H

#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

// Host tools that only write down how they were called, first on PATH for as long as this lives.
// What runs in the background is waited for until it has written.
class cShellStubs {
  public:
    cShellStubs();
    ~cShellStubs();

    // The exit status of a tool from now on; 0 at first.
    void setStatus(const std::string& tool, int status);
    // Every call as it was made: "tool arg arg", in order.
    std::vector<std::string> calls() const;
    // The same once there are so many, or after twenty seconds.
    std::vector<std::string> waitForCalls(size_t count) const;
    void clear();

  private:
    cTempFolder m_folder;
    std::string m_savedPath;
};

#endif
