#include "cli/base/misspelling.h"

#include <algorithm>

#include "platform/include/text_helpers.h"

namespace {

constexpr size_t WORD_MAX = 64;  // longer words are neither known nor misspelt
constexpr size_t LETTERS_A_SLIP = 4;

}  // namespace

std::string likelyMeant(const std::string& written, const std::vector<std::string>& known) {
    if (written.empty() || written.size() > WORD_MAX) return "";
    const auto isBeginning = [&](const std::string& word) { return startsWith(word, written); };
    if (std::count_if(known.begin(), known.end(), isBeginning) == 1)
        return *std::find_if(known.begin(), known.end(), isBeginning);
    size_t best = WORD_MAX;
    std::string meant;
    for (const std::string& word : known) {
        const size_t distance = editDistance(written, word);
        if (distance > word.size() / LETTERS_A_SLIP || distance >= best) continue;
        best = distance;
        meant = word;
    }
    return meant;
}

size_t editDistance(const std::string& a, const std::string& b) {
    // ways[i][j]: edits from the first i letters of a to the first j of b.
    std::vector<std::vector<size_t>> ways(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i) {
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                ways[i][j] = i + j;
                continue;
            }
            const size_t changed = ways[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            ways[i][j] = std::min({changed, ways[i - 1][j] + 1, ways[i][j - 1] + 1});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                ways[i][j] = std::min(ways[i][j], ways[i - 2][j - 2] + 1);
        }
    }
    return ways[a.size()][b.size()];
}
