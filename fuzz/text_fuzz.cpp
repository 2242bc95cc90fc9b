#include <arpa/inet.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

#include "atcmd/catalogue.h"
#include "atcmd/packet_data.h"
#include "fuzz/check.h"
#include "fuzz/input.h"
#include "include/address_text.h"
#include "include/device_records.h"
#include "include/options.h"
#include "include/shell.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "statemachine/network_interface.h"

// The helpers of the parsers, and the path of an address from the modem into a shell command. The
// first octet chooses.

namespace {

std::string g_shellCommand;

std::string joined(const tokenstr& tokens, const std::string& separator) {
    std::string text;
    for (size_t i = 0; i < tokens.size(); ++i)
        text += (i == 0 ? "" : separator) + tokens[i];
    return text;
}

void fuzzTokens(const std::string& separator, const std::string& text) {
    const tokenstr kept(text, separator, eEmptyTokens::KEEP);
    check(joined(kept, separator) == text, "tokens and separators make the text", text);
    const tokenstr dropped(text, separator, eEmptyTokens::DROP);
    for (const std::string& token : dropped)
        check(!token.empty(), "empty tokens are dropped", text);
    check(dropped.size() ==
              static_cast<size_t>(std::count_if(kept.begin(), kept.end(),
                                                [](const std::string& t) { return !t.empty(); })),
          "only empty tokens are dropped", text);
    check(kept[kept.size()].empty(), "there is nothing after the last token");
}

void fuzzTrimming(const std::string& text) {
    const char* white = " \t\n\v\f\r";
    const std::string clean = cleanWhiteSpace(text);
    check(clean.find_first_of(white) == std::string::npos, "white space is removed", text);
    const std::string trimmed = cleanBeginEndWhiteSpace(text);
    check(cleanWhiteSpace(trimmed) == clean, "nothing but white space is removed", text);
    check(cleanBeginEndWhiteSpace(trimmed) == trimmed, "trimmed once is trimmed", text);
    check(text.find(trimmed) != std::string::npos, "the inside stays", text);
    check(stringUpper(stringLower(text)) == stringUpper(text), "case changes letters only", text);
    const std::string digits = cleanNonNumeric(text);
    check(digits.empty() || isStringNumeric(digits), "only digits stay", text);
    check(!hasControlCharacter(blankControlCharacters(text)), "control characters go", text);
    check(blankControlCharacters(text).size() == text.size(), "and become blanks", text);
}

// Compared with the C library.
void fuzzNumbers(const std::string& text) {
    const long long number = strtoll(text.c_str(), nullptr, 10);
    check(textToLong(text) == number, "a number is read as by strtoll", text);
    check(textToInt(text) == std::clamp<long long>(number, INT_MIN, INT_MAX),
          "a number ends at the nearest that fits", text);
    if (isNumericValue(text))
        check(textToInt(text) != 0 || text.find_first_not_of("+-0") == std::string::npos,
              "a number is not 0", text);
    const std::string decimal = stringHexToStringDecimal(text);
    const bool isHex = !text.empty() && text.size() <= 16 &&
                       text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
    check(decimal.empty() == !isHex, "hexadecimal text has a number", text);
    if (isHex)
        check(decimal == std::to_string(strtoull(text.c_str(), nullptr, 16)), "the same", text);
}

void fuzzAddress(const std::string& text) {
    std::string address;
    std::string mask;
    in6_addr binary;
    switch (parseIpMaskDotted(text, address, mask)) {
        case eIP_TYPE_IPV4:
            check(
                inet_addr(address.c_str()) != INADDR_NONE && inet_addr(mask.c_str()) != INADDR_NONE,
                "an IPv4 address is one", text);
            break;
        case eIP_TYPE_IPV6:
            check(inet_pton(AF_INET6, address.c_str(), &binary) == 1 &&
                      inet_pton(AF_INET6, mask.c_str(), &binary) == 1,
                  "an IPv6 address is one", text);
            break;
        default:
            break;
    }
    decodeIpFormatFromDotted(text, address);
    std::string compressed;
    if (compressIPv6Address(text, compressed) != 0) return;
    std::string again;
    check(compressIPv6Address(compressed, again) == 0 && again == compressed,
          "the shortest form is the shortest", text);
}

// Whatever the network sends, the shell must see one command with its options and nothing else.
void fuzzSetup(const std::string& response) {
    sDeviceInfo device;
    parseCGCONTRDP(response, device);
    sConfigFileOpts config;
    config.ipFamily = eIP_FAMILY_IPV4V6;
    g_S_options.s_interface = "wwan0";
    g_shellCommand.clear();
    const eGeneralErrors result = setupNetwork(device.network, config);
    check((result == eSUCCESS) == !g_shellCommand.empty(), "a refused set-up runs nothing",
          g_shellCommand);
    if (g_shellCommand.empty()) return;
    const std::string end = " &>/dev/null";
    check(startsWith(g_shellCommand, "setup_cellint.sh -i wwan0 --up "), "its begin",
          g_shellCommand);
    check(g_shellCommand.size() > end.size() &&
              g_shellCommand.compare(g_shellCommand.size() - end.size(), end.size(), end) == 0,
          "its end", g_shellCommand);
    const std::string options = g_shellCommand.substr(0, g_shellCommand.size() - end.size());
    check(options.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                    "0123456789 _.:-") == std::string::npos,
          "no character has a meaning to the shell", g_shellCommand);
}

}  // namespace

// Replaces the daemon's own.
int runShellCommand(const std::string& command) {
    g_shellCommand = command;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (atCmd_Map.empty()) setupVariableMaps();
    cInput input(data, size);
    switch (input.takeByte() % 5) {
        case 0: {
            const std::string separator(1, static_cast<char>(input.takeByte()));
            fuzzTokens(separator, input.takeRest());
            break;
        }
        case 1:
            fuzzTrimming(input.takeRest());
            break;
        case 2:
            fuzzNumbers(input.takeRest());
            break;
        case 3:
            fuzzAddress(input.takeRest());
            break;
        default:
            fuzzSetup(input.takeRest());
            break;
    }
    return 0;
}
