#ifndef CLI_BASE_MISSPELLING_H
#define CLI_BASE_MISSPELLING_H

#include <string>
#include <vector>

// Which of the known words is meant by one that is none of them: the only one that begins with it,
// else the one with the fewest slips, at most one in four letters. "" when none is.
std::string likelyMeant(const std::string& written, const std::vector<std::string>& known);

// The number of slips: letters changed, added, left out, or two that changed places.
size_t editDistance(const std::string& a, const std::string& b);

#endif
