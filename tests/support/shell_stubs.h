#ifndef TESTS_SUPPORT_SHELL_STUBS_H
#define TESTS_SUPPORT_SHELL_STUBS_H

#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

// Host tools that only record how they were called, first on PATH while the object exists. Tools in
// the background are waited for until they have recorded their call.
class cShellStubs {
  public:
    cShellStubs();
    ~cShellStubs();

    // Sets the exit status of a tool; 0 at first.
    void setStatus(const std::string& tool, int status);
    // Every call in order: "tool arg arg".
    std::vector<std::string> calls() const;
    // The same after count calls, or after twenty seconds.
    std::vector<std::string> waitForCalls(size_t count) const;
    void clear();

  private:
    cTempFolder m_folder;
    std::string m_savedPath;
};

#endif
