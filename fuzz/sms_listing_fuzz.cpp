#include "fuzz/check.h"
#include "fuzz/decoded_message_check.h"
#include "fuzz/input.h"
#include "sms/message_file.h"
#include "sms/receive.h"

// The first octet chooses the network family, the rest is the answer to AT+CMGL.

namespace {

// Two hexadecimal digits give at most one character; unpacked text of 7 bits fits too.
constexpr size_t MESSAGE_MAX = 512;

void checkRecord(const S_smsRecordRx& record) {
    check(record.message.size() <= MESSAGE_MAX, "a message is bounded", record.message);
    check(record.from.size() <= MAX_SENDER_OCTETS, "a sender is bounded", record.from);
    sms_t parts;
    parts.reference = record.msgId;
    parts.partNumber = record.partNumber;
    parts.numberOfParts = record.partTotal;
    checkNothingWrong(wrongInParts(parts));
}

// The lines before the text must not contain line ends of their own; the text goes on to the end.
void checkContent(const S_smsRecordRx& record) {
    const std::string content = messageFileContent(record);
    const std::string header = content.substr(0, content.size() - record.message.size());
    const size_t lines = record.partTotal >= 2 ? 6 : 2;
    size_t ends = 0;
    for (const char c : header) {
        if (c == '\n')
            ++ends;
        else
            check(!hasControlCharacter(std::string(1, c)), "no control character", header);
    }
    check(ends == lines, "each key has one line", header);
    check(content == header + record.message, "the text ends the file", content);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cInput input(data, size);
    const e3gppType type = input.takeByte() % 2 == 0 ? eSMS_3GPP : eSMS_3GPP2;
    const std::string response = input.takeRest();
    tSmsQueue queue;
    parseSmsPduMessages(type, response, queue);
    check(queue.size() <= size, "no message comes from nowhere", response);
    for (; !queue.empty(); queue.pop()) {
        checkRecord(queue.front());
        checkContent(queue.front());
    }
    return 0;
}
