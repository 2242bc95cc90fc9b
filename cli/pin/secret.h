#ifndef CLI_PIN_SECRET_H
#define CLI_PIN_SECRET_H

#include <array>
#include <cstddef>
#include <string>

// A PIN or PUK. It exists in one place, is never copied, and is wiped at the end.
class cSecret {
  public:
    cSecret() = default;
    ~cSecret();
    cSecret(const cSecret&) = delete;
    cSecret& operator=(const cSecret&) = delete;

    const char* data() const { return m_text.data(); }
    size_t size() const { return m_size; }
    bool isOverlong() const { return m_overlong; }

    void add(char c);
    void clear();
    // Only digits, and between least and most of them.
    bool hasDigits(size_t least, size_t most) const;
    bool operator==(const cSecret& other) const;

  private:
    static constexpr size_t SIZE_MAX_BYTES = 32;

    std::array<char, SIZE_MAX_BYTES> m_text{};
    size_t m_size = 0;
    bool m_overlong = false;
};

// Reads one line into secret, without its line end, and nothing after it. On a terminal it shows
// the prompt on standard error and no echo; it restores the terminal, also if a signal ends the
// program. False at the end of the input.
bool readSecret(int input, const std::string& prompt, cSecret& secret);

#endif
