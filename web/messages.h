#ifndef WEB_MESSAGES_H
#define WEB_MESSAGES_H

#include <string>

#include "cli/base/places.h"
#include "http/job.h"

// Received messages are root's alone, so the server cannot read them. A socket-activated service of
// root's prints them, if the operator allows it, to whoever may connect to the socket.

constexpr const char* MESSAGES_SOCKET = "/run/cellslot-web/messages";

// {"messages": [{"from", "time", "text"}]}, the newest first, at most MESSAGES_MAX. Throws
// cFailure.
constexpr size_t MESSAGES_MAX = 100;
std::string messagesJson(const sPlaces& places);

// The work reads what that service prints.
sWork startFetchingMessages(const sPlaces& places);
// On failure false, and why in text.
bool takeMessages(const sPlaces& places, const sJobResult& result, std::string& text);

#endif
