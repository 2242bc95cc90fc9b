#include <iostream>

#include "agent/agent_command.h"

int main(int argc, char** argv) {
    sCliContext context{{}, std::cin, std::cout};
    return static_cast<int>(runAgentCommand(argc, argv, context, std::cerr));
}
