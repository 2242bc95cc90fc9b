#ifndef SMS_WALL_CLOCK_H
#define SMS_WALL_CLOCK_H

#include <ctime>
#include <string>

// The time of day, for file names and for the age of files.
using tWallClock = timespec (*)();

timespec wallClockNow();

// For tests: sets another clock; a null pointer restores the system's.
void setWallClock(tWallClock clock);

// Local time as in file names: "20200615-203205".
std::string fileTimeText();

// Sleeps until the wall clock shows the next second.
void sleepToNextSecond();

#endif
