#ifndef TESTS_MATRIX_HOST_TOOLS_H
#define TESTS_MATRIX_HOST_TOOLS_H

#include <functional>
#include <string>
#include <vector>

// The host tools that the daemon runs: its system() ends here. A command line that is not exactly
// of the form of a healthy day is noted as refused, and nothing is run; mv moves its file;
// ResetCellular is passed on; everything else only succeeds.
void onPowerCycle(std::function<void()> action);
const std::vector<std::string>& refusedCommandLines();
// Commands that begin so fail from now on.
void failHostTool(const std::string& start);

#endif
