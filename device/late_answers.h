#ifndef DEVICE_LATE_ANSWERS_H
#define DEVICE_LATE_ANSWERS_H

// Drops what comes until as many final codes as are owed have come, for as long as a late answer is
// waited for. Returns at once where nothing is owed.
void dropLateAnswers(int port);

#endif
