#include <iostream>

#include "cli/cellslot.h"

int main(int argc, char** argv) {
    sCliContext context{{}, std::cin, std::cout};
    return static_cast<int>(runCellslot(argc, argv, context, std::cerr));
}
