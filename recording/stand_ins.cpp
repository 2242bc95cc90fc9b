#include "recording/stand_ins.h"

#include <sys/random.h>

#include <cctype>
#include <cstring>
#include <ctime>

namespace {

constexpr size_t KEPT_DIGITS = 6;
constexpr size_t LONG_NUMBER = 14;

// UCS2 as hexadecimal digits: four for each character.
constexpr size_t UCS2_DIGITS = 4;
constexpr size_t UCS2_TEXT_MIN = 8;

uint64_t rotated(uint64_t value, unsigned bits) {
    return (value << bits) | (value >> (64 - bits));
}

// SipHash-2-4 of Aumasson and Bernstein: a keyed hash that does not give its key away, and is cheap
// for short texts.
struct sSipState {
    uint64_t v0, v1, v2, v3;

    void round() {
        v0 += v1;
        v1 = rotated(v1, 13) ^ v0;
        v0 = rotated(v0, 32);
        v2 += v3;
        v3 = rotated(v3, 16) ^ v2;
        v0 += v3;
        v3 = rotated(v3, 21) ^ v0;
        v2 += v1;
        v1 = rotated(v1, 17) ^ v2;
        v2 = rotated(v2, 32);
    }
    void add(uint64_t word) {
        v3 ^= word;
        round();
        round();
        v0 ^= word;
    }
};

uint64_t sipHash(const std::array<uint64_t, 2>& key, const void* data, size_t size) {
    sSipState state = {key[0] ^ 0x736f6d6570736575, key[1] ^ 0x646f72616e646f6d,
                       key[0] ^ 0x6c7967656e657261, key[1] ^ 0x7465646279746573};
    const auto* bytes = static_cast<const unsigned char*>(data);
    uint64_t word = 0;
    for (size_t i = 0; i < size; ++i) {
        word |= uint64_t{bytes[i]} << (i % 8 * 8);
        if (i % 8 != 7) continue;
        state.add(word);
        word = 0;
    }
    state.add(word | uint64_t{size} << 56);
    state.v2 ^= 0xff;
    for (int i = 0; i < 4; ++i)
        state.round();
    return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}

// Zeros say that a number is not known.
bool isAllZero(const char* digits, size_t size) {
    for (size_t i = 0; i < size; ++i)
        if (digits[i] != '0') return false;
    return true;
}

std::array<uint64_t, 2> makeKey() {
    std::array<uint64_t, 2> key{};
    if (getrandom(key.data(), sizeof key, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof key))
        return key;
    // Early after the boot there may be no randomness yet; stand-ins are needed all the same.
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    key[0] = static_cast<uint64_t>(now.tv_nsec);
    key[1] = static_cast<uint64_t>(now.tv_sec) ^ reinterpret_cast<uintptr_t>(&key);
    return key;
}

bool isUcs2Text(const char* text, size_t size) {
    if (size < UCS2_TEXT_MIN || size % UCS2_DIGITS != 0) return false;
    for (size_t i = 0; i < size; ++i)
        if (isxdigit(static_cast<unsigned char>(text[i])) == 0) return false;
    return true;
}

// "0041": a letter becomes another one of "0061" to "007A", a digit a digit, '+' stays.
void replaceUcs2(char* digits, cStandInSource& source) {
    static const char HEX[] = "0123456789ABCDEF";
    const bool isSign = memcmp(digits, "002", 3) == 0;
    if (isSign) return;
    const bool isDigit = memcmp(digits, "003", 3) == 0;
    const unsigned character = isDigit ? 0x30 + source.next(10) : 0x61 + source.next(26);
    memcpy(digits, "00", 2);
    digits[2] = HEX[character >> 4];
    digits[3] = HEX[character & 15];
}

char standInFor(char character, cStandInSource& source) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x80) return 'x';
    if (isdigit(byte) != 0) return static_cast<char>('0' + source.next(10));
    if (isupper(byte) != 0) return static_cast<char>('A' + source.next(26));
    if (islower(byte) != 0) return static_cast<char>('a' + source.next(26));
    return character;
}

}  // namespace

unsigned cStandInSource::next(unsigned count) {
    m_state = m_state * 6364136223846793005u + 1442695040888963407u;
    return static_cast<unsigned>((m_state >> 33) % count);
}

bool isNumber(const char* text, size_t size) {
    for (size_t i = 0; i < size; ++i)
        if (text[i] < '0' || text[i] > '9') return false;
    return size > 0;
}

cStandIns::cStandIns() : m_key(makeKey()) {}

cStandInSource cStandIns::sourceFor(const void* text, size_t size) const {
    return cStandInSource(sipHash(m_key, text, size));
}

void cStandIns::makeNumber(char* digits, size_t size) const {
    if (isAllZero(digits, size)) return;
    cStandInSource source = sourceFor(digits, size);
    for (size_t i = size < LONG_NUMBER ? 0 : KEPT_DIGITS; i < size; ++i)
        digits[i] = static_cast<char>('0' + source.next(10));
}

void cStandIns::replaceNumber(char* digits, size_t size) {
    if (size > NUMBER_MAX) return makeNumber(digits, size);
    for (const sKnownNumber& known : m_known) {
        if (known.size != size || memcmp(known.number, digits, size) != 0) continue;
        memcpy(digits, known.standIn, size);
        return;
    }
    sKnownNumber& known = m_known[m_nextKnown++ % m_known.size()];
    known.size = size;
    memcpy(known.number, digits, size);
    makeNumber(digits, size);
    memcpy(known.standIn, digits, size);
}

void cStandIns::replaceText(char* text, size_t size) {
    if (isNumber(text, size)) return replaceNumber(text, size);
    cStandInSource source = sourceFor(text, size);
    if (isUcs2Text(text, size)) {
        for (size_t i = 0; i < size; i += UCS2_DIGITS)
            replaceUcs2(text + i, source);
        return;
    }
    for (size_t i = 0; i < size; ++i)
        text[i] = standInFor(text[i], source);
}
