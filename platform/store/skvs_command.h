#ifndef PLATFORM_STORE_SKVS_COMMAND_H
#define PLATFORM_STORE_SKVS_COMMAND_H

// The program skvs, with the arguments of main. Returns one of the exit statuses below.
int runSkvsCommand(int argc, const char* const argv[]);

constexpr int SKVS_OK = 0;
constexpr int SKVS_MISSING_KEY = 1;
constexpr int SKVS_FAILED = 2;  // wrong usage, or the store could not be read or written

#endif
