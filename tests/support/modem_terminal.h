#ifndef TESTS_SUPPORT_MODEM_TERMINAL_H
#define TESTS_SUPPORT_MODEM_TERMINAL_H

#include <cstdint>
#include <deque>
#include <string>

#include "le910sim/descriptor.h"
#include "le910sim/pty.h"

// One of a modem's ports on a terminal that the daemon opens by itself, on a fake clock. When a
// function returns, nothing is under way in the terminal, so every repetition of a test is the
// same.
class cModemTerminal {
  public:
    explicit cModemTerminal(const std::string& path) : m_pty(path), m_path(path) {}

    bool present() const { return m_pty.present(); }
    // Does nothing if the port is there, or is away, already; otherwise true.
    bool setPresent(bool present);

    std::string receive() { return m_pty.receive(); }
    // Bytes for the daemon from a time on, after those before them.
    void emit(const std::string& bytes, uint64_t dueMs);
    // Puts what is due into the terminal, as much as it buffers.
    void deliver(uint64_t nowMs);

    // In bytes since the port appeared: what was emitted, and how much of it the daemon has read.
    uint64_t emitted() const { return m_emitted; }
    uint64_t read() const;

  private:
    struct sPortion {
        uint64_t dueMs;
        std::string bytes;
    };

    le910sim::cPty m_pty;
    std::string m_path;
    // Of the daemon's side: shows what waits there, and keeps it open.
    le910sim::cDescriptor m_otherSide;
    std::deque<sPortion> m_output;
    uint64_t m_emitted = 0;
    uint64_t m_delivered = 0;
};

#endif
