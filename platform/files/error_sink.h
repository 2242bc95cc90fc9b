#ifndef PLATFORM_FILES_ERROR_SINK_H
#define PLATFORM_FILES_ERROR_SINK_H

#include <string>

// Reports "Error: Cannot <action> <subject>, errno <error> (<its text>)":
// platform/include/error_sink.h
void logSystemError(const char* action, const std::string& subject, int error);

#endif
