#include "history/usage.h"

void sUsage::add(const sUsage& other) {
    receivedBytes += other.receivedBytes;
    sentBytes += other.sentBytes;
    receivedMessages += other.receivedMessages;
    sentMessages += other.sentMessages;
    failedMessages += other.failedMessages;
    connectedS += other.connectedS;
    knownS += other.knownS;
}
