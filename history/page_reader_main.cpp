#include <iostream>

#include "history/page_reader.h"

int main(int argc, char** argv) {
    const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
    return static_cast<int>(runPageReader(words, {}, time(nullptr), std::cout, std::cerr));
}
