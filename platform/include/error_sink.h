#ifndef PLATFORM_INCLUDE_ERROR_SINK_H
#define PLATFORM_INCLUDE_ERROR_SINK_H

// Where the platform reports what the system refused it, such as a file that cannot be written. At
// first, and with a null pointer, the system log; a program that keeps repetitions out of its log
// takes the messages itself.
using tErrorSink = void (*)(const char* message);

void setErrorSink(tErrorSink sink);

#endif
