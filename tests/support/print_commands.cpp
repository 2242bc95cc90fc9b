#include <cstdio>

#include "tests/support/set_up_commands.h"

// Prints what the daemon sends to a healthy modem, for the tests that are not written in C++.
int main() {
    const nlohmann::json lists = {
        {"set_up", setupCommands()}, {"poll", pollCommands()}, {"session", sessionCommands()}};
    puts(lists.dump().c_str());
    return 0;
}
