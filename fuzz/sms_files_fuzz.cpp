#include "fuzz/check.h"
#include "fuzz/input.h"
#include "fuzz/scratch_folder.h"
#include "platform/include/text_helpers.h"
#include "sms/assembly.h"
#include "sms/joined_journal.h"
#include "sms/message_file.h"
#include "sms/part_file.h"
#include "sms/repeated_parts.h"
#include "sms/sms.h"
#include "sms/spool.h"

// Files that other programs put into the spool. The first octet chooses: a message to send, parts
// of received messages, or journals of joined ones.

namespace {

constexpr size_t FILES_MAX = 8;

bool isPlainText(const std::string& text) {
    for (const char c : text)
        if (static_cast<unsigned char>(c) >= 0x80) return false;
    return true;
}

void fuzzSendFile(const std::string& root, const std::string& content) {
    const std::string path = root + SMS_DIR_SEND + "message";
    writeScratchFile(path, content);
    std::string number;
    std::string message;
    if (!parseSmsFile(path, number, message)) return;
    check(isStringNumeric(number) && number.size() >= 5 && number.size() <= 50,
          "a number is 5 to 50 digits", number);
    check(!message.empty() && isPlainText(message), "a text is ASCII and not empty", message);
}

void checkPart(const std::string& path) {
    const sPartFile* file = lookAtPartFile(path);
    check(file != nullptr, "a part file is found", path);
    const S_partsFileAttributes& part = file->attributes;
    check(part.msgId >= 0 && part.partNumber >= 0 && part.partTotal >= 0,
          "numbers are not negative");
    check(part.from.empty() || isStringNumeric(part.from), "a sender is digits", part.from);
}

// Joined messages go to /recv/; the journal is removed with its message.
void joinAll(const std::string& root, size_t messagesMax) {
    tSmsQueue queue;
    takeJournals(queue, root);
    checkSmsParts(queue, root);
    check(queue.size() <= messagesMax, "no message comes from nowhere");
    const size_t messages = queue.size();
    check(writeSmsMessages(queue, root) == messages, "messages are written");
    takeJournals(queue, root);
    check(queue.empty(), "a message is delivered once");
}

void fuzzParts(const std::string& root, const std::vector<std::string>& contents) {
    std::vector<std::string> paths;
    for (size_t i = 0; i < contents.size() && i < FILES_MAX; ++i) {
        paths.push_back(root + SMS_DIR_RECV_PARTS + "part" + itos(static_cast<int>(i)));
        writeScratchFile(paths.back(), contents[i]);
    }
    for (const std::string& path : paths)
        checkPart(path);
    removeRepeatedParts(root, paths);
    joinAll(root, paths.size());
}

// The names in a journal must not lead to a file outside the folder of the parts.
void fuzzJournals(const std::string& root, const std::vector<std::string>& contents) {
    const std::string outside = root + "/outside";
    writeScratchFile(outside, "");
    size_t count = 0;
    for (; count < contents.size() && count < FILES_MAX; ++count)
        writeScratchFile(ownSpoolFile(root, "joined") + "." + itos(static_cast<int>(count) + 1),
                         contents[count]);
    joinAll(root, count);
    sFileIdentity identity;
    check(identifyFile(outside, identity), "a file outside the parts stays");
    for (const char* folder : {SMS_DIR_RECV, SMS_DIR_RECV_PARTS, SMS_DIR_SEND})
        check(isSpoolDir(root + folder), "the folders stay", folder);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    resetSmsState();
    g_s_root_sms_path = scratchFolder();
    emptyFolder(scratchFolder());
    check(makeSmsDirs(scratchFolder()) == 0, "the folders can be made");
    cInput input(data, size);
    switch (input.takeByte() % 3) {
        case 0:
            fuzzSendFile(scratchFolder(), input.takeRest());
            break;
        case 1:
            fuzzParts(scratchFolder(), input.takePieces());
            break;
        default:
            fuzzJournals(scratchFolder(), input.takePieces());
            break;
    }
    return 0;
}
