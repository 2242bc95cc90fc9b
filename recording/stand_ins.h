#ifndef RECORDING_STAND_INS_H
#define RECORDING_STAND_INS_H

#include <array>
#include <cstddef>
#include <cstdint>

// A source of characters that depends on a seed alone.
class cStandInSource {
  public:
    explicit cStandInSource(uint64_t seed) : m_state(seed) {}
    // From 0 to count - 1.
    unsigned next(unsigned count);

  private:
    uint64_t m_state;
};

// Replaces identities by stand-ins of the same length and kind. The same text has the same stand-in
// for as long as the object lives. They cannot be computed from outside: the key is random and
// nowhere written.
class cStandIns {
  public:
    cStandIns();

    // A run of digits. Of 14 digits and more the first six stay (ITU-T E.118, 3GPP TS 23.003):
    // country and network of a SIM, model of a modem. Zeros alone stay: they mean "not known".
    void replaceNumber(char* digits, size_t size);
    // Any text: digits become digits and letters letters, bytes from 0x80 "x". Text in UCS2,
    // written as hexadecimal digits, stays that.
    void replaceText(char* text, size_t size);

    cStandInSource sourceFor(const void* text, size_t size) const;

  private:
    static constexpr size_t NUMBER_MAX = 22;
    struct sKnownNumber {
        size_t size = 0;
        char number[NUMBER_MAX];
        char standIn[NUMBER_MAX];
    };

    void makeNumber(char* digits, size_t size) const;

    std::array<uint64_t, 2> m_key;
    // A poll asks for the same five numbers each time.
    std::array<sKnownNumber, 8> m_known;
    size_t m_nextKnown = 0;
};

// Digits alone, one or more.
bool isNumber(const char* text, size_t size);

#endif
