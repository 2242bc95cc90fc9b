#ifndef TESTS_MATRIX_HOST_TOOLS_H
#define TESTS_MATRIX_HOST_TOOLS_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

// The host tools: replaces the daemon's system(). A command line that does not have exactly the
// form of a healthy day is recorded as refused and not run; mv moves its file; ResetCellular is
// passed on; everything else succeeds without an effect.
void onPowerCycle(std::function<void()> action);
const std::vector<std::string>& refusedCommandLines();
// Exit statuses by command, in the order in which they are needed: the host of a recording. One
// that is not in the list succeeds.
using tHostResults = std::vector<std::pair<std::string, int>>;
void setHostResults(tHostResults results);
// Commands that begin with start fail from now on.
void failHostTool(const std::string& start);

#endif
