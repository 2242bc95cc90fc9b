#include "platform/sms_pdu/3gpp2_address.h"

#include "platform/sms_pdu/bits.h"

namespace sms_pdu {

namespace {

constexpr unsigned NUMBER_TYPE_INTERNATIONAL = 1;
constexpr unsigned DTMF_BITS = 4;
constexpr unsigned CHARACTER_BITS = 8;

struct sAddressKind {
    unsigned eightBit = 0;
    unsigned otherNetwork = 0;
    unsigned numberType = 0;
    unsigned numberPlan = 0;
};

// The type precedes only 8-bit characters, and only a telephone number has a plan.
bool readKind(cBitReader& reader, sAddressKind& kind) {
    if (!reader.readBits(1, kind.eightBit) || !reader.readBits(1, kind.otherNetwork)) return false;
    if (kind.eightBit == 0) return true;
    if (!reader.readBits(3, kind.numberType)) return false;
    return kind.otherNetwork != 0 || reader.readBits(4, kind.numberPlan);
}

// Reserved codes and unprintable characters are left out.
std::string characterOf(const sAddressKind& kind, unsigned code) {
    static const char DTMF[] = "?1234567890*#???";
    const char character = kind.eightBit != 0 ? static_cast<char>(code) : DTMF[code & 0x0F];
    if (kind.eightBit == 0 && character == '?') return "";
    if (character < ' ' || character > '~') return "";
    return std::string(1, character);
}

}  // namespace

bool read3gpp2Address(const tOctets& parameter, std::string& address) {
    cBitReader reader(parameter);
    sAddressKind kind;
    unsigned fields = 0;
    address.clear();
    if (!readKind(reader, kind) || !reader.readBits(8, fields)) return false;
    for (; fields > 0; fields--) {
        unsigned code = 0;
        if (!reader.readBits(kind.eightBit != 0 ? CHARACTER_BITS : DTMF_BITS, code)) return false;
        address += characterOf(kind, code);
    }
    const bool international =
        kind.otherNetwork == 0 && kind.numberType == NUMBER_TYPE_INTERNATIONAL;
    if (international && !address.empty() && address[0] != '+') address.insert(0, "+");
    return true;
}

}  // namespace sms_pdu
