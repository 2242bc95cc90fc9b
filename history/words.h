#ifndef HISTORY_WORDS_H
#define HISTORY_WORDS_H

#include <charconv>
#include <optional>
#include <string>
#include <vector>

// The words of a line that are separated by single blanks, as in the files of pending figures.

inline std::vector<std::string> wordsOf(const std::string& line) {
    std::vector<std::string> words;
    for (size_t start = 0; start <= line.size();) {
        const size_t end = line.find(' ', start);
        words.push_back(line.substr(start, end - start));
        if (end == line.npos) break;
        start = end + 1;
    }
    return words;
}

template <typename tNumber>
std::optional<tNumber> numberOf(const std::string& word) {
    tNumber number{};
    const char* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

#endif
