#ifndef TESTS_UNIT_RECORDING_EXCHANGE_H
#define TESTS_UNIT_RECORDING_EXCHANGE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "recording/hidden_exchange.h"
#include "tests/support/recording_text.h"

// What a recording shows of an exchange, each text in pieces of pieceBytes.
class cExchange {
  public:
    explicit cExchange(bool keepIdentities = false, size_t pieceBytes = 1000)
        : m_exchange(keepIdentities), m_pieceBytes(pieceBytes) {}

    void write(const std::string& text) { add(eRecordedWay::WRITE, text); }
    void read(const std::string& text) { add(eRecordedWay::READ, text); }
    // As the daemon writes one.
    void command(const std::string& text, uint64_t delayMs = 10) {
        m_exchange.addCommand(eRecordedPort::AT, text.data(), text.size(), m_ms, m_ms + delayMs);
        m_ms += delayMs;
    }
    void advance(uint64_t ms) { m_ms += ms; }
    void begin() {
        m_exchange.begin(true);
        m_ms = 0;
    }
    cHiddenExchange& exchange() { return m_exchange; }

    // All that was written and read, in lines of their own.
    std::string data() {
        m_exchange.endAllLines();
        return recordedData(lines());
    }
    std::string lines() { return m_exchange.ready().text(); }

  private:
    void add(eRecordedWay way, const std::string& text) {
        for (size_t at = 0; at < text.size(); at += m_pieceBytes) {
            const std::string piece = text.substr(at, m_pieceBytes);
            m_exchange.addBytes(eRecordedPort::AT, way, piece.data(), piece.size(), m_ms++);
        }
    }

    cHiddenExchange m_exchange;
    size_t m_pieceBytes;
    uint64_t m_ms = 0;
};

#endif
