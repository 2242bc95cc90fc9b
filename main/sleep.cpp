#include "include/sleep.h"

#include <unistd.h>

namespace {

void systemSleep(unsigned microseconds) {
    usleep(microseconds);
}

void (*g_sleepFunction)(unsigned) = systemSleep;

}  // namespace

void sleepMicroseconds(unsigned microseconds) {
    g_sleepFunction(microseconds);
}

void setSleepFunction(void (*function)(unsigned)) {
    g_sleepFunction = function != nullptr ? function : systemSleep;
}
