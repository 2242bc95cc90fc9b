#include "cli/pin_outcome.h"

#include <sys/stat.h>

#include "cli/printable_text.h"
#include "cli/status_value.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t PIN_DIGITS_MIN = 4;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int attempts(const sPlaces& places, int slot, const char* key) {
    const std::string value = statusValue(places, slot, key);
    return isStringNumeric(value) ? textToInt(value) : -1;
}

}  // namespace

sSimView simView(const sPlaces& places, int slot) {
    sSimView view;
    view.status = printableLine(statusValue(places, slot, "_SIM_STATUS"));
    view.outcome = withoutPins(printableLine(statusValue(places, slot, "_SIM_EXTENDED_STATUS")));
    view.pinAttempts = attempts(places, slot, "_SIM_REMAIN_CPIN");
    view.pukAttempts = attempts(places, slot, "_SIM_REMAIN_PUK");
    return view;
}

std::string withoutPins(const std::string& text) {
    std::string masked;
    for (size_t at = 0; at < text.size();) {
        size_t end = at;
        while (end < text.size() && isDigit(text[end]))
            ++end;
        if (end - at >= PIN_DIGITS_MIN)
            masked += "****";
        else
            masked += text.substr(at, end - at);
        if (end < text.size()) masked += text[end++];
        at = end;
    }
    return masked;
}

bool isSuccess(const std::string& outcome) {
    return outcome.find("successfully") != std::string::npos ||
           outcome.find("are the same") != std::string::npos;
}

std::string statusEdition(const sPlaces& places, int slot) {
    struct stat info {};
    if (stat(places.at(statusFilePath(slot)).c_str(), &info) != 0) return "";
    return std::to_string(info.st_ino) + " " + std::to_string(info.st_mtim.tv_sec) + " " +
           std::to_string(info.st_mtim.tv_nsec);
}
