#include "le910sim/gsm7.h"

#include <array>

namespace le910sim {

namespace {

constexpr uint8_t ESCAPE = 0x1B;
constexpr uint32_t REPLACEMENT = 0xFFFD;

// Position: septet.
constexpr std::array<uint16_t, 128> ALPHABET = {
    '@',   0xA3, '$',  0xA5,  0xE8, 0xE9,  0xF9,  0xEC,  0xF2,  0xC7,  '\n',  0xD8,  0xF8,
    '\r',  0xC5, 0xE5, 0x394, '_',  0x3A6, 0x393, 0x39B, 0x3A9, 0x3A0, 0x3A8, 0x3A3, 0x398,
    0x39E, 0,    0xC6, 0xE6,  0xDF, 0xC9,  ' ',   '!',   '"',   '#',   0xA4,  '%',   '&',
    '\'',  '(',  ')',  '*',   '+',  ',',   '-',   '.',   '/',   '0',   '1',   '2',   '3',
    '4',   '5',  '6',  '7',   '8',  '9',   ':',   ';',   '<',   '=',   '>',   '?',   0xA1,
    'A',   'B',  'C',  'D',   'E',  'F',   'G',   'H',   'I',   'J',   'K',   'L',   'M',
    'N',   'O',  'P',  'Q',   'R',  'S',   'T',   'U',   'V',   'W',   'X',   'Y',   'Z',
    0xC4,  0xD6, 0xD1, 0xDC,  0xA7, 0xBF,  'a',   'b',   'c',   'd',   'e',   'f',   'g',
    'h',   'i',  'j',  'k',   'l',  'm',   'n',   'o',   'p',   'q',   'r',   's',   't',
    'u',   'v',  'w',  'x',   'y',  'z',   0xE4,  0xF6,  0xF1,  0xFC,  0xE0};

struct sExtension {
    uint8_t septet;
    uint16_t codePoint;
};

constexpr std::array<sExtension, 10> EXTENSIONS = {{{0x0A, 0x0C},
                                                    {0x14, '^'},
                                                    {0x28, '{'},
                                                    {0x29, '}'},
                                                    {0x2F, '\\'},
                                                    {0x3C, '['},
                                                    {0x3D, '~'},
                                                    {0x3E, ']'},
                                                    {0x40, '|'},
                                                    {0x65, 0x20AC}}};

bool appendSeptets(uint32_t codePoint, std::vector<uint8_t>& septets) {
    for (size_t i = 0; i < ALPHABET.size(); ++i) {
        if (i != ESCAPE && ALPHABET[i] == codePoint) {
            septets.push_back(static_cast<uint8_t>(i));
            return true;
        }
    }
    for (const sExtension& extension : EXTENSIONS) {
        if (extension.codePoint == codePoint) {
            septets.push_back(ESCAPE);
            septets.push_back(extension.septet);
            return true;
        }
    }
    return false;
}

uint32_t extended(uint8_t septet) {
    for (const sExtension& extension : EXTENSIONS) {
        if (extension.septet == septet) return extension.codePoint;
    }
    return ALPHABET[septet & 0x7FU];
}

// Number of bytes after the first one of a UTF-8 character, -1 if it cannot begin one.
int followers(uint8_t first) {
    if (first < 0x80) return 0;
    if (first >= 0xC2 && first < 0xE0) return 1;
    if (first >= 0xE0 && first < 0xF0) return 2;
    return first >= 0xF0 && first < 0xF5 ? 3 : -1;
}

}  // namespace

bool fromUtf8(const std::string& text, std::vector<uint32_t>& codePoints) {
    codePoints.clear();
    size_t i = 0;
    while (i < text.size()) {
        const auto first = static_cast<uint8_t>(text[i++]);
        const int count = followers(first);
        if (count < 0 || i + static_cast<size_t>(count) > text.size()) return false;
        uint32_t value = count == 0 ? first : first & (0x3FU >> static_cast<unsigned>(count));
        for (int k = 0; k < count; ++k) {
            const auto next = static_cast<uint8_t>(text[i++]);
            if ((next & 0xC0U) != 0x80U) return false;
            value = value << 6U | (next & 0x3FU);
        }
        codePoints.push_back(value);
    }
    return true;
}

std::string toUtf8(const std::vector<uint32_t>& codePoints) {
    std::string text;
    for (const uint32_t point : codePoints) {
        if (point < 0x80) {
            text += static_cast<char>(point);
        } else if (point < 0x800) {
            text += static_cast<char>(0xC0U | point >> 6U);
            text += static_cast<char>(0x80U | (point & 0x3FU));
        } else if (point < 0x10000) {
            text += static_cast<char>(0xE0U | point >> 12U);
            text += static_cast<char>(0x80U | (point >> 6U & 0x3FU));
            text += static_cast<char>(0x80U | (point & 0x3FU));
        } else {
            text += static_cast<char>(0xF0U | (point >> 18U & 7U));
            text += static_cast<char>(0x80U | (point >> 12U & 0x3FU));
            text += static_cast<char>(0x80U | (point >> 6U & 0x3FU));
            text += static_cast<char>(0x80U | (point & 0x3FU));
        }
    }
    return text;
}

bool toSeptets(const std::vector<uint32_t>& codePoints, std::vector<uint8_t>& septets) {
    septets.clear();
    for (const uint32_t point : codePoints) {
        if (!appendSeptets(point, septets)) return false;
    }
    return true;
}

std::vector<uint32_t> fromSeptets(const std::vector<uint8_t>& septets) {
    std::vector<uint32_t> codePoints;
    for (size_t i = 0; i < septets.size(); ++i) {
        if (septets[i] != ESCAPE) {
            codePoints.push_back(ALPHABET[septets[i] & 0x7FU]);
        } else if (i + 1 < septets.size()) {
            codePoints.push_back(extended(septets[++i]));
        } else {
            codePoints.push_back(REPLACEMENT);
        }
    }
    return codePoints;
}

std::vector<uint8_t> packSeptets(const std::vector<uint8_t>& septets, unsigned fillBits) {
    std::vector<uint8_t> bytes((septets.size() * 7 + fillBits + 7) / 8, 0);
    size_t bit = fillBits;
    for (const uint8_t septet : septets) {
        for (unsigned k = 0; k < 7; ++k, ++bit) {
            if ((septet >> k & 1U) != 0) bytes[bit / 8] |= static_cast<uint8_t>(1U << bit % 8);
        }
    }
    return bytes;
}

std::vector<uint8_t> unpackSeptets(const std::vector<uint8_t>& bytes, size_t count,
                                   unsigned fillBits) {
    std::vector<uint8_t> septets;
    size_t bit = fillBits;
    while (septets.size() < count && bit + 7 <= bytes.size() * 8) {
        uint8_t septet = 0;
        for (unsigned k = 0; k < 7; ++k, ++bit) {
            if ((bytes[bit / 8] >> bit % 8 & 1) != 0) septet |= static_cast<uint8_t>(1U << k);
        }
        septets.push_back(septet);
    }
    return septets;
}

}  // namespace le910sim
