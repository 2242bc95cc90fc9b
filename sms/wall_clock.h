#ifndef SMS_WALL_CLOCK_H
#define SMS_WALL_CLOCK_H

#include <ctime>
#include <string>

// The time of day, which file names and the age of files are made of.
using tWallClock = timespec (*)();

timespec wallClockNow();

// For tests: another clock; a null pointer brings the system's back.
void setWallClock(tWallClock clock);

// Local time as in file names: "20200615-203205".
std::string fileTimeText();

// Sleeps until the wall clock's second has changed.
void sleepToNextSecond();

#endif
