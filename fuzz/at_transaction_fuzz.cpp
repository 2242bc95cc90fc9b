#include <algorithm>

#include "atcmd/catalogue.h"
#include "atcmd/command.h"
#include "device/at_transaction.h"
#include "device/link_state.h"
#include "fuzz/check.h"
#include "fuzz/input.h"
#include "fuzz/scripted_port.h"

// The input is what the modem sends, in pieces: one arrives at each read of the port.

namespace {

constexpr const char* COMMAND = "AT+CGMM";

bool isLineEnd(char c) {
    return c == '\r' || c == '\n';
}

bool holdsLine(const std::string& text, const std::string& code) {
    for (size_t i = 0; i + code.size() < text.size(); ++i)
        if (text.compare(i, code.size(), code) == 0 && isLineEnd(text[i + code.size()]))
            return true;
    return false;
}

// The result of all received text, searched from its start.
ePortReturn finalResultOf(const std::string& text) {
    if (holdsLine(text, "OK")) return ePORT_OK;
    if (holdsLine(text, "ERROR")) return ePORT_ERROR;
    const bool isCmx = text.find("+CME ERROR:") != std::string::npos ||
                       text.find("+CMS ERROR:") != std::string::npos;
    return isCmx ? ePORT_CMX_ERROR : ePORT_NO_FINAL_RESULT;
}

// The expected result of the transaction: pieces are read until there is a result.
ePortReturn expected(const std::vector<std::string>& pieces, std::string& response) {
    ePortReturn result = ePORT_NO_FINAL_RESULT;
    for (const std::string& piece : pieces) {
        response += piece;
        if (piece.empty()) continue;
        result = finalResultOf(response);
        if (result != ePORT_NO_FINAL_RESULT) break;
    }
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (atCmd_Map.empty()) setupVariableMaps();
    resetLinkState();  // a new port, although its number comes again
    std::vector<std::string> pieces = cInput(data, size).takePieces();
    // No more arrive in the time of a short command; the first arrives while it is written.
    constexpr size_t PIECES_MAX = 50;
    pieces.resize(std::min(pieces.size(), PIECES_MAX));

    cScriptedPort port(pieces);
    std::string response = "left over";
    ePortReturn result = sendAtCommand(port.descriptor(), COMMAND, response, 0);
    check(port.written() == std::string(COMMAND) + "\r", "the command is written", port.written());

    if (pieces.size() >= 2) {
        pieces[0] += pieces[1];
        pieces.erase(pieces.begin() + 1);
    }
    std::string expectedResponse;
    check(result == expected(pieces, expectedResponse), "the result is that of the response",
          response);
    check(response == expectedResponse, "every byte until the result is kept", response);

    const ePortReturn before = result;
    parseCMXerror(result, response);
    check(result == before || (before == ePORT_CMX_ERROR && CMEE_Map.count(result) != 0),
          "only a known number takes the place of a result", response);
    return 0;
}
