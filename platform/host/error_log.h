#ifndef PLATFORM_HOST_ERROR_LOG_H
#define PLATFORM_HOST_ERROR_LOG_H

#include <string>

// Sends "Error: Cannot <action> <subject>, errno <error> (<its text>)" to the system log.
void logSystemError(const char* action, const std::string& subject, int error);

#endif
