#include "platform/store/skvs_command.h"

int main(int argc, char* argv[]) {
    return runSkvsCommand(argc, argv);
}
