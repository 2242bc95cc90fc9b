#ifndef CLI_BASE_MISSPELLING_H
#define CLI_BASE_MISSPELLING_H

#include <string>
#include <vector>

// The known word that an unknown one probably means: the only one that begins with it, otherwise
// the one with the smallest edit distance, at most one edit in four letters. "" if there is none.
std::string likelyMeant(const std::string& written, const std::vector<std::string>& known);

// The number of edits: letters changed, added or left out, or two neighbours swapped.
size_t editDistance(const std::string& a, const std::string& b);

#endif
