#include <ctime>
#include <iostream>

#include "history/history_command.h"

int main(int argc, char** argv) {
    sCliContext context{{}, std::cin, std::cout};
    return static_cast<int>(runHistoryCommand(argc, argv, context, time(nullptr), std::cerr));
}
