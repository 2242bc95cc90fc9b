#include "le910sim/sms_pdu.h"

#include <algorithm>
#include <ctime>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "le910sim/gsm7.h"
#include "le910sim/text.h"

namespace le910sim {

namespace {

constexpr size_t USER_DATA_MAX = 140;
constexpr size_t SEPTETS_MAX = 160;
constexpr uint8_t TYPE_INTERNATIONAL = 0x91;
constexpr uint8_t TYPE_NATIONAL = 0x81;
constexpr uint8_t TYPE_NAME = 0xD0;

using tBytes = std::vector<uint8_t>;

void append(tBytes& target, const tBytes& bytes) {
    std::copy(bytes.begin(), bytes.end(), std::back_inserter(target));
}

uint8_t swappedDecimal(int value) {
    return static_cast<uint8_t>(value % 10 << 4 | value / 10);
}

tBytes semiOctets(const std::string& digits) {
    tBytes bytes;
    for (size_t i = 0; i < digits.size(); i += 2) {
        const int low = digits[i] - '0';
        const int high = i + 1 < digits.size() ? digits[i + 1] - '0' : 15;
        bytes.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    return bytes;
}

bool isNumber(const std::string& text) {
    return isStringNumeric(text) ||
           (text.size() > 1 && text[0] == '+' && isStringNumeric(text.substr(1)));
}

std::string digitsOf(const std::string& number) {
    return number[0] == '+' ? number.substr(1) : number;
}

uint8_t typeOf(const std::string& number) {
    return number[0] == '+' ? TYPE_INTERNATIONAL : TYPE_NATIONAL;
}

tBytes serviceCentreField(const std::string& number) {
    if (number.empty()) return {0};
    if (!isNumber(number) || number.size() > 21) {
        throw std::invalid_argument("service centre '" + number + "' is not a number");
    }
    const tBytes digits = semiOctets(digitsOf(number));
    tBytes bytes = {static_cast<uint8_t>(digits.size() + 1), typeOf(number)};
    append(bytes, digits);
    return bytes;
}

tBytes nameField(const std::string& name) {
    std::vector<uint32_t> points;
    tBytes septets;
    if (!fromUtf8(name, points) || !toSeptets(points, septets) || septets.size() > 11 ||
        septets.empty()) {
        throw std::invalid_argument("sender '" + name + "' is neither a number nor a name");
    }
    const tBytes packed = packSeptets(septets, 0);
    tBytes bytes = {static_cast<uint8_t>((septets.size() * 7 + 3) / 4), TYPE_NAME};
    append(bytes, packed);
    return bytes;
}

tBytes addressField(const std::string& from) {
    if (!isNumber(from)) return nameField(from);
    const std::string digits = digitsOf(from);
    if (digits.size() > 20) throw std::invalid_argument("sender has more than 20 digits");
    tBytes bytes = {static_cast<uint8_t>(digits.size()), typeOf(from)};
    append(bytes, semiOctets(digits));
    return bytes;
}

// Section 9.2.3.11; the zone's sign is bit 3 of its first digit.
tBytes timeField(const sClock& clock) {
    const time_t seconds = clock.localSeconds;
    std::tm date = {};
    gmtime_r(&seconds, &date);
    const bool west = clock.zoneQuarters < 0;
    const uint8_t zone = swappedDecimal(west ? -clock.zoneQuarters : clock.zoneQuarters);
    return {swappedDecimal(date.tm_year % 100),
            swappedDecimal(date.tm_mon + 1),
            swappedDecimal(date.tm_mday),
            swappedDecimal(date.tm_hour),
            swappedDecimal(date.tm_min),
            swappedDecimal(date.tm_sec),
            static_cast<uint8_t>(west ? zone | 8U : zone)};
}

// Section 9.2.3.24.1 and 9.2.3.24.8.
tBytes headerField(const sDeliver& message) {
    if (message.total == 0) return {};
    const auto part = static_cast<uint8_t>(message.part);
    const auto total = static_cast<uint8_t>(message.total);
    const auto low = static_cast<uint8_t>(message.reference & 0xFF);
    if (!message.wideReference) return {5, 0, 3, low, total, part};
    return {6, 8, 4, static_cast<uint8_t>(message.reference >> 8 & 0xFF), low, total, part};
}

tBytes utf16(const std::vector<uint32_t>& points) {
    tBytes bytes;
    const auto unit = [&bytes](uint32_t value) {
        bytes.push_back(static_cast<uint8_t>(value >> 8U));
        bytes.push_back(static_cast<uint8_t>(value));
    };
    for (const uint32_t point : points) {
        if (point < 0x10000) {
            unit(point);
        } else {
            unit(0xD800U + ((point - 0x10000U) >> 10U));
            unit(0xDC00U + ((point - 0x10000U) & 0x3FFU));
        }
    }
    return bytes;
}

std::vector<uint32_t> fromUtf16(const tBytes& bytes) {
    std::vector<uint32_t> points;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const uint32_t value = static_cast<uint32_t>(bytes[i]) << 8U | bytes[i + 1];
        const bool low = value >= 0xDC00 && value < 0xE000;
        if (low && !points.empty() && points.back() >= 0xD800 && points.back() < 0xDC00) {
            points.back() = 0x10000U + ((points.back() - 0xD800U) << 10U) + (value - 0xDC00U);
        } else {
            points.push_back(value);
        }
    }
    for (uint32_t& point : points) {
        if (point >= 0xD800 && point < 0xE000) point = 0xFFFD;
    }
    return points;
}

// User data length and user data.
tBytes septetData(const tBytes& header, const tBytes& septets) {
    const unsigned fill = static_cast<unsigned>((7 - header.size() * 8 % 7) % 7);
    const size_t length = (header.size() * 8 + fill) / 7 + septets.size();
    if (length > SEPTETS_MAX) throw std::invalid_argument("text is too long for one message");
    tBytes bytes = {static_cast<uint8_t>(length)};
    append(bytes, header);
    append(bytes, packSeptets(septets, fill));
    return bytes;
}

tBytes octetData(const tBytes& header, const tBytes& octets) {
    const size_t length = header.size() + octets.size();
    if (length > USER_DATA_MAX) throw std::invalid_argument("text is too long for one message");
    tBytes bytes = {static_cast<uint8_t>(length)};
    append(bytes, header);
    append(bytes, octets);
    return bytes;
}

tBytes userData(const sDeliver& message, const tBytes& header, uint8_t& coding) {
    if (message.coding == eSMS_8BIT) {
        coding = 4;
        return octetData(header, tBytes(message.text.begin(), message.text.end()));
    }
    std::vector<uint32_t> points;
    if (!fromUtf8(message.text, points)) throw std::invalid_argument("text is not UTF-8");
    tBytes septets;
    const bool fits = toSeptets(points, septets);
    if (message.coding == eSMS_GSM7 && !fits) {
        throw std::invalid_argument("text has a character outside the 7-bit alphabet");
    }
    if (fits && message.coding != eSMS_UCS2) {
        coding = 0;
        return septetData(header, septets);
    }
    coding = 8;
    return octetData(header, utf16(points));
}

// Reads a PDU from front to back; every read throws if the PDU ends too early.
class cPduReader {
  public:
    explicit cPduReader(tBytes bytes) : m_bytes(std::move(bytes)) {}

    uint8_t take() {
        if (m_position >= m_bytes.size()) throw std::invalid_argument("PDU ends too early");
        return m_bytes[m_position++];
    }
    tBytes take(size_t count) {
        tBytes taken;
        while (taken.size() < count)
            taken.push_back(take());
        return taken;
    }
    size_t left() const { return m_bytes.size() - m_position; }

  private:
    tBytes m_bytes;
    size_t m_position = 0;
};

std::string readDigits(const tBytes& bytes, size_t count) {
    std::string digits;
    for (size_t i = 0; i < count; ++i) {
        const uint8_t nibble = i % 2 == 0 ? bytes[i / 2] & 0x0F : bytes[i / 2] >> 4;
        if (nibble > 9) throw std::invalid_argument("address has a digit that is none");
        digits += static_cast<char>('0' + nibble);
    }
    return digits;
}

std::string readAddress(cPduReader& reader) {
    const size_t count = reader.take();
    const uint8_t type = reader.take();
    if (count > 20) throw std::invalid_argument("address has more than 20 digits");
    const tBytes bytes = reader.take((count + 1) / 2);
    if ((type & 0x70U) == 0x50U) {
        return toUtf8(fromSeptets(unpackSeptets(bytes, count * 4 / 7, 0)));
    }
    return ((type & 0x70U) == 0x10U ? "+" : "") + readDigits(bytes, count);
}

// Reads the concatenation elements of a user data header.
void readHeader(const tBytes& header, sSentSms& sms) {
    cPduReader reader(header);
    while (reader.left() != 0) {
        const uint8_t element = reader.take();
        const tBytes data = reader.take(reader.take());
        if (element == 0 && data.size() == 3) {
            sms.reference = data[0];
            sms.total = data[1];
            sms.part = data[2];
        } else if (element == 8 && data.size() == 4) {
            sms.reference = data[0] << 8 | data[1];
            sms.total = data[2];
            sms.part = data[3];
        }
    }
}

void readUserData(cPduReader& reader, bool withHeader, uint8_t coding, sSentSms& sms) {
    const size_t length = reader.take();
    const bool septets = (coding & 0x0CU) == 0;
    const size_t octets = septets ? (length * 7 + 7) / 8 : length;
    if (octets > USER_DATA_MAX || (septets && length > SEPTETS_MAX)) {
        throw std::invalid_argument("user data is too long");
    }
    tBytes data = reader.take(octets);
    size_t headerSize = 0;
    if (withHeader) {
        if (data.empty() || data[0] + 1U > data.size()) {
            throw std::invalid_argument("user data header is longer than the user data");
        }
        headerSize = data[0] + 1U;
        readHeader(tBytes(data.begin() + 1, data.begin() + static_cast<long>(headerSize)), sms);
    }
    data.erase(data.begin(), data.begin() + static_cast<long>(headerSize));
    if (septets) {
        const unsigned fill = static_cast<unsigned>((7 - headerSize * 8 % 7) % 7);
        const size_t skipped = (headerSize * 8 + fill) / 7;
        sms.coding = "gsm7";
        if (skipped > length) throw std::invalid_argument("header is longer than the user data");
        sms.text = toUtf8(fromSeptets(unpackSeptets(data, length - skipped, fill)));
    } else if ((coding & 0x0CU) == 8) {
        if (data.size() % 2 != 0) throw std::invalid_argument("odd number of UCS2 octets");
        sms.coding = "ucs2";
        sms.text = toUtf8(fromUtf16(data));
    } else {
        sms.coding = "8bit";
        sms.text = toUtf8(std::vector<uint32_t>(data.begin(), data.end()));
    }
}

void skipServiceCentre(cPduReader& reader) {
    reader.take(reader.take());
}

sSentSms parseSubmit(const tBytes& bytes) {
    cPduReader reader(bytes);
    sSentSms sms;
    skipServiceCentre(reader);
    const uint8_t first = reader.take();
    if ((first & 3U) != 1) throw std::invalid_argument("not a SUBMIT");
    reader.take();  // message reference
    sms.number = readAddress(reader);
    if (sms.number.empty() || sms.number == "+") throw std::invalid_argument("no destination");
    reader.take();  // protocol identifier
    const uint8_t coding = reader.take();
    switch (first >> 3U & 3U) {
        case 0:
            break;
        case 2:
            reader.take();
            break;
        default:
            reader.take(7);
            break;
    }
    readUserData(reader, (first & 0x40U) != 0, coding, sms);
    if (reader.left() != 0) throw std::invalid_argument("octets left after the user data");
    return sms;
}

int plainDecimal(uint8_t swapped) {
    return (swapped & 0x0F) * 10 + (swapped >> 4);
}

std::string readTime(const tBytes& field) {
    const bool west = (field[6] & 8U) != 0;
    return padded(plainDecimal(field[0]), 2) + "/" + padded(plainDecimal(field[1]), 2) + "/" +
           padded(plainDecimal(field[2]), 2) + "," + padded(plainDecimal(field[3]), 2) + ":" +
           padded(plainDecimal(field[4]), 2) + ":" + padded(plainDecimal(field[5]), 2) +
           (west ? "-" : "+") + padded(plainDecimal(field[6] & 0xF7U), 2);
}

}  // namespace

std::string buildDeliver(const sDeliver& message) {
    if (message.total != 0 && (message.part < 1 || message.part > message.total)) {
        throw std::invalid_argument("part is not between 1 and total");
    }
    const tBytes header = headerField(message);
    uint8_t coding = 0;
    const tBytes data = userData(message, header, coding);
    tBytes pdu = serviceCentreField(message.serviceCentre);
    pdu.push_back(header.empty() ? 0x04 : 0x44);  // DELIVER, no more messages waiting
    append(pdu, addressField(message.from));
    pdu.push_back(0);
    pdu.push_back(coding);
    append(pdu, timeField(message.time));
    append(pdu, data);
    return toHex(pdu);
}

int pduLength(const std::string& pdu) {
    tBytes bytes;
    if (!fromHex(pdu, bytes) || bytes.empty() || bytes.size() < bytes[0] + 1U) return -1;
    return static_cast<int>(bytes.size()) - bytes[0] - 1;
}

std::optional<sSentSms> readSubmit(const std::string& pdu, std::string& why) {
    tBytes bytes;
    if (!fromHex(pdu, bytes)) {
        why = "not pairs of hexadecimal digits";
        return std::nullopt;
    }
    try {
        sSentSms sms = parseSubmit(bytes);
        sms.pdu = pdu;
        return sms;
    } catch (const std::invalid_argument& problem) {
        why = problem.what();
        return std::nullopt;
    }
}

sDeliverView viewDeliver(const std::string& pdu) {
    tBytes bytes;
    if (!fromHex(pdu, bytes)) return {};
    try {
        cPduReader reader(bytes);
        sSentSms sms;
        sDeliverView view;
        skipServiceCentre(reader);
        const uint8_t first = reader.take();
        view.from = readAddress(reader);
        reader.take();
        const uint8_t coding = reader.take();
        view.time = readTime(reader.take(7));
        readUserData(reader, (first & 0x40U) != 0, coding, sms);
        view.text = sms.text;
        return view;
    } catch (const std::invalid_argument&) {
        return {};
    }
}

}  // namespace le910sim
