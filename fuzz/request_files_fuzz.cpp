#include <algorithm>

#include "fuzz/check.h"
#include "fuzz/input.h"
#include "fuzz/scratch_folder.h"
#include "fuzz/scripted_port.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"
#include "published/at_request.h"
#include "statemachine/custom_at.h"
#include "statemachine/custom_at_log.h"
#include "statemachine/sim_pin_files.h"

// Files with requests of other programs to the daemon. The first octet chooses: AT commands,
// followed by the modem's answers, or a PIN.

namespace {

constexpr const char* DIVIDER = "==========";

size_t occurrences(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

void fuzzCustomAt(const std::string& folder, const std::vector<std::string>& pieces) {
    setenv("OVERRIDE_TEST_POLL_DELAY", "1", 1);
    g_s_at_cmd_log_dir = folder;
    writeScratchFile(folder + "/at_cmd_in", pieces[0]);
    cScriptedPort port({pieces.begin() + 1, pieces.end()});
    sDeviceInfo device;
    const eGeneralErrors result = checkCustomAtFile(port.descriptor(), device, folder);
    check(!atCommandFilesExist(folder), "a request is taken away");

    const std::string& written = port.written();
    const size_t sent = std::min(pieces[0].size(), AT_REQUEST_MAX);
    check(written.size() <= sent + AT_REQUEST_LINES, "nothing but the request is sent", written);
    check(written.empty() || validateAtCmdFormat(written), "only AT commands are sent", written);

    std::string answer;
    const bool answered = readFile2StringNoFollow(folder + "/at_cmd_out", answer, 1 << 20);
    check(answered == (result != eERROR_BUFFER_EMPTY), "a request is answered");
    check(!answered || occurrences(answer, "Sending :") == 0 || occurrences(answer, DIVIDER) > 0,
          "each command is between dividers", answer);
}

void fuzzCustomLine(const std::string& line) {
    std::string command;
    int extraTimeoutS = -1;
    parseAtCmdCustomLine(line, command, extraTimeoutS);
    check(extraTimeoutS >= 0 && extraTimeoutS <= 30, "the timeout is in range", line);
    check(line.find(command) != std::string::npos, "the command is in the line", line);
}

void fuzzPin(const std::string& folder, const std::string& content) {
    const std::string path = folder + "/pin";
    writeScratchFile(path, content);
    const std::string pin = readCpinFile(path);
    check(pin.size() <= 16, "a PIN file is read in part", pin);
    check(content.substr(0, 16).find(pin.substr(0, 1)) != std::string::npos,
          "what is read is in the file", pin);
    if (verifyCpinFormat(pin))
        check(isStringNumeric(pin) && pin.size() >= 4 && pin.size() <= 8, "4 to 8 digits", pin);
    if (verifyPukFormat(pin)) check(isStringNumeric(pin) && pin.size() == 8, "8 digits", pin);
    clearCpinFile(path);
    check(readCpinFile(path).empty(), "a file that is cleared is empty");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    emptyFolder(scratchFolder());
    cInput input(data, size);
    switch (input.takeByte() % 3) {
        case 0:
            fuzzCustomAt(scratchFolder(), input.takePieces());
            break;
        case 1:
            fuzzCustomLine(input.takeRest());
            break;
        default:
            fuzzPin(scratchFolder(), input.takeRest());
            break;
    }
    return 0;
}
