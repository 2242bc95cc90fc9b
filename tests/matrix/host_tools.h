#ifndef TESTS_MATRIX_HOST_TOOLS_H
#define TESTS_MATRIX_HOST_TOOLS_H

#include <functional>
#include <string>
#include <vector>

// The host tools: replaces the daemon's system(). A command line that does not have exactly the
// form of a healthy day is recorded as refused and not run; mv moves its file; ResetCellular is
// passed on; everything else succeeds without an effect.
void onPowerCycle(std::function<void()> action);
const std::vector<std::string>& refusedCommandLines();
// Commands that begin with start fail from now on.
void failHostTool(const std::string& start);

#endif
