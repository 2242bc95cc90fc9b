#ifndef LE910SIM_PACED_OUTPUT_H
#define LE910SIM_PACED_OUTPUT_H

#include <cstdint>
#include <deque>
#include <string>

namespace le910sim {

// Bytes on their way to the host: each portion has the time it is due, and the line passes only so
// many bytes a second. What nobody collects is bounded: the oldest goes.
class cPacedOutput {
  public:
    static constexpr size_t BYTES_MAX = 256 * 1024;

    // Bits a second with ten bits a byte; 0 is an instant line.
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
