#include "sms/open_prompt.h"

#include <fcntl.h>
#include <unistd.h>

#include "atcmd/command.h"
#include "sms/sms_memory.h"
#include "sms/spool.h"

namespace {

const char* const ESC = "\x1b";  // ends a prompt without sending the text
constexpr unsigned ABORT_TIMEOUT_S = 0;

std::string markerPath(const std::string& root) {
    return ownSpoolFile(root, "prompt");
}

}  // namespace

void markPrompt() {
    if (!isSpoolRoot(g_s_root_sms_path)) return;
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const int fd = open(markerPath(g_s_root_sms_path).c_str(), FLAGS, 0600);
    if (fd != -1) close(fd);
}

void unmarkPrompt() {
    g_smsMemory.mayPromptBeOpen = false;
    if (isSpoolRoot(g_s_root_sms_path)) unlink(markerPath(g_s_root_sms_path).c_str());
}

void findPrompt(const std::string& root) {
    sFileIdentity identity;
    g_smsMemory.mayPromptBeOpen = isSpoolRoot(root) && identifyFile(markerPath(root), identity);
}

ePortReturn abortPrompt(int port) {
    return queryModem(port, ESC, eParseCmx::NEVER, ABORT_TIMEOUT_S);
}

void endLeftPrompt(int port) {
    if (!g_smsMemory.mayPromptBeOpen) return;
    debug(eLOG_NOTICE, g_i_debugMode,
          "An SMS message or a custom AT command was cut short, ending its prompt");
    if (abortPrompt(port) != ePORT_ERROR) unmarkPrompt();
}
