#include "tests/support/published_state.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <vector>

#include "le910sim/text.h"
#include "platform/include/tokenstr.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr size_t MESSAGE_SHOWN_MAX = 1000;

std::string withoutTimes(const std::string& text) {
    const char* const TIMES[] = {"_STATS_LAST_UPDATE", "_QMI_CALL_TIME", "_QMI_CALL_FORMAT_TIME",
                                 "TIME="};
    std::string rest;
    for (const std::string& line : tokenstr(text, '\n', eEmptyTokens::DROP))
        if (std::none_of(std::begin(TIMES), std::end(TIMES),
                         [&](const char* key) { return line.find(key) != std::string::npos; }))
            rest += line + "\n";
    return rest;
}

std::vector<std::string> messagesOf(const std::string& folder) {
    std::vector<std::string> messages;
    if (!std::filesystem::exists(folder)) return messages;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        messages.push_back(withoutTimes(readFile(entry.path().string())));
    std::sort(messages.begin(), messages.end());
    return messages;
}

}  // namespace

std::string publishedState() {
    std::string state = withoutTimes(readFile("/var/log/wireless.cardstats.1"));
    for (const char* folder : {"/tmp/sms/recv", "/tmp/sms/send", "/tmp/sms/send_ok"})
        for (const std::string& message : messagesOf(folder))
            state +=
                std::string(folder) + ": " + le910sim::printable(message, MESSAGE_SHOWN_MAX) + "\n";
    return state;
}
