#include <cstdio>

#include "tests/support/set_up_commands.h"

// Prints the commands that the daemon sends to a healthy modem, for tests in other languages.
int main() {
    const nlohmann::json lists = {
        {"set_up", setupCommands()}, {"poll", pollCommands()}, {"session", sessionCommands()}};
    puts(lists.dump().c_str());
    return 0;
}
