#ifndef FUZZ_CHECK_H
#define FUZZ_CHECK_H

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// Aborts the program if an invariant is broken; libFuzzer keeps the input.
inline void check(bool holds, const char* what, const std::string& text = "") {
    if (holds) return;
    fprintf(stderr, "does not hold: %s\n", what);
    for (const char c : text)
        fprintf(stderr, isprint(static_cast<unsigned char>(c)) ? "%c" : "\\x%02x",
                static_cast<unsigned char>(c));
    fprintf(stderr, "\n");
    abort();
}

// wrong: what is wrong, null if nothing is.
inline void checkNothingWrong(const char* wrong, const std::string& text = "") {
    check(wrong == nullptr, wrong != nullptr ? wrong : "", text);
}

inline bool hasControlCharacter(const std::string& text) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7f) return true;
    }
    return false;
}

#endif
