#ifndef PLATFORM_INCLUDE_ERROR_SINK_H
#define PLATFORM_INCLUDE_ERROR_SINK_H

// Where the platform reports system errors, such as a file that cannot be written. The default, and
// the meaning of a null pointer, is the system log. A program that keeps repetitions out of its log
// sets its own function.
using tErrorSink = void (*)(const char* message);

void setErrorSink(tErrorSink sink);

#endif
