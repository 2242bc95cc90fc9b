#include "platform/files/error_sink.h"

#include <syslog.h>

#include <cstring>

#include "platform/include/error_sink.h"

namespace {

tErrorSink g_errorSink = nullptr;

}  // namespace

void setErrorSink(tErrorSink sink) {
    g_errorSink = sink;
}

void logSystemError(const char* action, const std::string& subject, int error) {
    const std::string message = std::string("Error: Cannot ") + action + " " + subject +
                                ", errno " + std::to_string(error) + " (" + strerror(error) + ")";
    if (g_errorSink != nullptr)
        g_errorSink(message.c_str());
    else
        syslog(LOG_NOTICE, "%s", message.c_str());
}
