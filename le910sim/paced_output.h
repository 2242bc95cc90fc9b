#ifndef LE910SIM_PACED_OUTPUT_H
#define LE910SIM_PACED_OUTPUT_H

#include <cstdint>
#include <deque>
#include <string>

namespace le910sim {

// Bytes on their way to the host: each portion has a due time, and the line passes a limited number
// of bytes per second. If nobody reads, the oldest bytes are dropped.
class cPacedOutput {
  public:
    static constexpr size_t BYTES_MAX = 256 * 1024;

    // Bits per second, ten bits per byte; 0 is an instant line.
    void setBaud(uint32_t baud) { m_baud = baud; }

    void add(uint64_t dueMs, const std::string& bytes);
    std::string take(uint64_t nowMs);
    void clear();

  private:
    struct sPortion {
        uint64_t dueMs;
        std::string bytes;
    };

    std::deque<sPortion> m_portions;
    size_t m_size = 0;
    uint32_t m_baud = 0;
    uint64_t m_lineFreeUs = 0;
};

}  // namespace le910sim

#endif
