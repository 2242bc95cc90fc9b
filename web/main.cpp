#include <iostream>

#include "web/web_command.h"

int main(int argc, char** argv) {
    return static_cast<int>(runWeb(argc, argv, std::cerr));
}
