#ifndef FUZZ_INPUT_H
#define FUZZ_INPUT_H

#include <cstdint>
#include <string>
#include <vector>

// Reads values from the fuzzer's octets, front to back. Missing values are zero or empty.
class cInput {
  public:
    cInput(const uint8_t* data, size_t size) : m_text(data, data + size) {}

    unsigned takeByte() {
        if (m_text.empty()) return 0;
        const auto byte = static_cast<unsigned char>(m_text[0]);
        m_text.erase(0, 1);
        return byte;
    }

    std::string takeRest() { return std::move(m_text); }

    // The rest, split at each 0xFF: no text of a modem or a file needs that octet.
    std::vector<std::string> takePieces() {
        std::vector<std::string> pieces(1);
        for (const char c : m_text) {
            if (c == '\xff')
                pieces.emplace_back();
            else
                pieces.back() += c;
        }
        m_text.clear();
        return pieces;
    }

  private:
    std::string m_text;
};

#endif
