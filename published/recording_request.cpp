#include "published/recording_request.h"

#include <algorithm>

#include "platform/include/text_helpers.h"
#include "platform/include/timer_clock.h"

namespace {

constexpr const char* UNTIL = "UNTIL=";
constexpr const char* SIZE = "SIZE=";
constexpr const char* IDENTITIES = "IDENTITIES=";
constexpr const char* KEPT = "kept";
constexpr const char* REPLACED = "replaced";

std::string valueOf(const std::string& text, const std::string& key) {
    return findNeedleString("\n" + text, "\n" + key, "\n");
}

}  // namespace

std::string recordingRequestText(const sRecordingRequest& request) {
    return UNTIL + std::to_string(request.untilS) + "\n" + SIZE +
           std::to_string(request.fileBytes) + "\n" + IDENTITIES +
           (request.keepIdentities ? KEPT : REPLACED) + "\n";
}

sRecordingRequest parseRecordingRequest(const std::string& text) {
    sRecordingRequest request;
    const std::string until = valueOf(text, UNTIL);
    const std::string size = valueOf(text, SIZE);
    if (isStringNumeric(until)) request.untilS = static_cast<uint64_t>(textToLong(until));
    if (isStringNumeric(size))
        request.fileBytes = static_cast<size_t>(
            std::clamp<long long>(textToLong(size), RECORDING_BYTES_MIN, RECORDING_BYTES_MAX));
    request.keepIdentities = valueOf(text, IDENTITIES) == KEPT;
    return request;
}

uint64_t recordingClockS() {
    return timerClockMs() / 1000;
}
