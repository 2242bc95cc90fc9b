#ifndef DEVICE_LATE_ANSWERS_H
#define DEVICE_LATE_ANSWERS_H

// Drops input until all owed final codes have come or LATE_ANSWER_MS is over. Returns at once if
// nothing is owed.
void dropLateAnswers(int port);

#endif
