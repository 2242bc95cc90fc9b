#include "platform/host/error_log.h"

#include <syslog.h>

#include <cstring>

void logSystemError(const char* action, const std::string& subject, int error) {
    syslog(LOG_NOTICE, "Error: Cannot %s %s, errno %d (%s)", action, subject.c_str(), error,
           strerror(error));
}
