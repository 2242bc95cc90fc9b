#include "atcmd/catalogue.h"
#include "fuzz/check.h"
#include "fuzz/input.h"
#include "tests/support/reply_parsers.h"

// The first octet chooses the parse function, the rest is the modem's response.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (atCmd_Map.empty()) setupVariableMaps();
    cInput input(data, size);
    const sReplyParser& parser = replyParsers()[input.takeByte() % replyParsers().size()];
    const std::string response = input.takeRest();
    checkNothingWrong(parser.parse(response), response);
    checkNothingWrong(parser.parse(response + "\r\n\r\nOK\r\n"), response);
    // After a valid reply, as when one comes late.
    checkNothingWrong(parser.parse(parser.reply + response), response);
    return 0;
}
