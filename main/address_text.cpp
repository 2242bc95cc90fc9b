#include "include/address_text.h"

#include <arpa/inet.h>

#include <cstdio>

#include "include/debug.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"

namespace {

constexpr size_t IPV4_OCTETS = 4;
constexpr size_t IPV6_OCTETS = 16;

tokenstr splitOctets(const std::string& dotted) {
    return tokenstr(dotted, '.', eEmptyTokens::DROP);
}

std::string joinOctets(const tokenstr& octets, size_t first, size_t count) {
    std::string text;
    for (size_t i = first; i < first + count; ++i) {
        if (i != first) text += '.';
        text += octets[i];
    }
    return text;
}

// inet_addr returns the same for 255.255.255.255 and for an error.
bool isIPv4(const std::string& text) {
    return inet_addr(text.c_str()) != INADDR_NONE;
}

// 32, 1 -> "2001"; 0, 1 -> "01"; 1, 0 -> "100"; 0, 0 -> "0".
std::string ipv6Group(int high, int low) {
    if (high == 0 && low == 0) return "0";
    char text[32];
    int length = 0;
    if (high != 0) length = snprintf(text, sizeof text, "%x", static_cast<unsigned>(high));
    snprintf(text + length, sizeof text - static_cast<size_t>(length), "%02x",
             static_cast<unsigned>(low));
    return text;
}

}  // namespace

int parseIpMaskDotted(const std::string& dotted, std::string& address, std::string& mask) {
    traceEntry(eLOG_UTILITY, __func__);
    switch (splitOctets(dotted).size()) {
        case 2 * IPV4_OCTETS:
            return splitIPv4IpMaskdot(dotted, address, mask) == 0 ? eIP_TYPE_IPV4 : eIP_TYPE_NONE;
        case 2 * IPV6_OCTETS:
            return convertIPv6IpMaskdotToHex(dotted, address, mask) == 0 ? eIP_TYPE_IPV6
                                                                         : eIP_TYPE_NONE;
        default:
            return eIP_TYPE_NONE;
    }
}

int splitIPv4IpMaskdot(const std::string& dotted, std::string& address, std::string& mask) {
    traceEntry(eLOG_UTILITY, __func__);
    address.clear();
    mask.clear();
    const tokenstr octets = splitOctets(dotted);
    if (octets.size() != 2 * IPV4_OCTETS) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Error: IPV4 IP/MASK format '%s' is not valid, does not contain %d parts, "
              "cannot use",
              __func__, dotted.c_str(), static_cast<int>(2 * IPV4_OCTETS));
        return -1;
    }
    const std::string addressText = joinOctets(octets, 0, IPV4_OCTETS);
    if (!isIPv4(addressText)) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Error: IPV4 IP format '%s' is not valid, cannot use", __func__,
              addressText.c_str());
        return -1;
    }
    const std::string maskText = joinOctets(octets, IPV4_OCTETS, IPV4_OCTETS);
    if (!isIPv4(maskText)) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Error: IPV4 MASK format '%s' is not valid, cannot use", __func__,
              maskText.c_str());
        return -1;
    }
    address = addressText;
    mask = maskText;
    return 0;
}

int convertIPv6IpMaskdotToHex(const std::string& dotted, std::string& address, std::string& mask) {
    traceEntry(eLOG_UTILITY, __func__);
    const tokenstr octets = splitOctets(dotted);
    if (octets.size() != 2 * IPV6_OCTETS) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Error: IPV6  IP/MASK dotted format '%s' is not valid, cannot use", __func__,
              dotted.c_str());
        return -1;
    }
    const std::string addressText = joinOctets(octets, 0, IPV6_OCTETS);
    if (convertIPv6IpDotToHex(addressText, address) != 0) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Error: Unable to convert IPV6 IP '%s' to HEX format", __func__,
              addressText.c_str());
        address.clear();
        return -1;
    }
    const std::string maskText = joinOctets(octets, IPV6_OCTETS, IPV6_OCTETS);
    if (convertIPv6IpDotToHex(maskText, mask) != 0) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Error: Unable to convert IPV6 MASK '%s' to HEX format", __func__,
              maskText.c_str());
        address.clear();
        mask.clear();
        return -1;
    }
    return 0;
}

int convertIPv6IpDotToHex(const std::string& dotted, std::string& address) {
    traceEntry(eLOG_UTILITY, __func__);
    const tokenstr octets = splitOctets(dotted);
    if (octets.size() != IPV6_OCTETS) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "%s(): Error: Unable to convert IPV6 IP format '%s' has incorrect number of octets",
              __func__, dotted.c_str());
        return -1;
    }
    std::string colonText;
    for (size_t i = 0; i < IPV6_OCTETS; i += 2) {
        if (i != 0) colonText += ':';
        colonText += ipv6Group(textToInt(octets[i]), textToInt(octets[i + 1]));
    }
    return compressIPv6Address(colonText, address);
}

int compressIPv6Address(const std::string& text, std::string& compressed) {
    traceEntry(eLOG_UTILITY, __func__);
    in6_addr binary;
    char printed[INET6_ADDRSTRLEN];
    if (inet_pton(AF_INET6, text.c_str(), &binary) != 1 ||
        inet_ntop(AF_INET6, &binary, printed, sizeof printed) == nullptr) {
        debug(eLOG_NOTICE, g_i_debugMode, "ERROR: %s(): IPV6 Addr %s is not a valid format",
              __func__, text.c_str());
        return -1;
    }
    compressed = printed;
    return 0;
}

void decodeIpFormatFromDotted(const std::string& dotted, std::string& address) {
    traceEntry(eLOG_UTILITY, __func__);
    const size_t octets = splitOctets(dotted).size();
    if (octets == IPV4_OCTETS) {
        address = dotted;
        return;
    }
    address.clear();
    if (octets == IPV6_OCTETS) {
        convertIPv6IpDotToHex(dotted, address);
        return;
    }
    debug(eLOG_NOTICE, g_i_debugMode,
          "%s(): Error: Unable to convert IPV4/IPV6 IP format '%s', incorrect number of octets",
          __func__, dotted.c_str());
}
