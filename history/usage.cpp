#include "history/usage.h"

namespace {

constexpr size_t SIM_MAX = 24;

}  // namespace

void sUsage::add(const sUsage& other) {
    receivedBytes += other.receivedBytes;
    sentBytes += other.sentBytes;
    receivedMessages += other.receivedMessages;
    sentMessages += other.sentMessages;
    failedMessages += other.failedMessages;
    connectedS += other.connectedS;
    knownS += other.knownS;
}

bool isSimName(const std::string& text) {
    return text.size() <= SIM_MAX &&
           text.find_first_not_of("0123456789ABCDEFabcdef") == std::string::npos;
}
