#include "published/at_request.h"

#include "platform/include/text_helpers.h"

std::string atRequestFile(const std::string& folder, const std::string& suffix) {
    return folder + "/at_cmd_in" + suffix;
}

std::string atAnswerFile(const std::string& folder, const std::string& suffix) {
    return folder + "/at_cmd_out" + suffix;
}

std::string atRawAnswerFile(const std::string& folder, const std::string& suffix) {
    return folder + "/at_cmd_out_raw" + suffix;
}

std::string atSlotSuffix(const cSlotText& slot) {
    return "." + slot.text();
}

bool isAtCommand(const std::string& command) {
    return startsWith(stringUpper(command), "AT");
}

std::string atRequestLine(const std::string& command, unsigned extraTimeoutS) {
    if (extraTimeoutS == 0) return command + "\n";
    return command + AT_TIMEOUT_SEPARATOR + std::to_string(extraTimeoutS) + "\n";
}
