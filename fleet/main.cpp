#include <iostream>

#include "fleet/fleet_command.h"

int main(int argc, char** argv) {
    sCliContext context{{}, std::cin, std::cout};
    return static_cast<int>(runFleet(argc, argv, context, std::cerr));
}
