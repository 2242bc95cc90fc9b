#ifndef TESTS_SUPPORT_MEMORY_TERMINAL_H
#define TESTS_SUPPORT_MEMORY_TERMINAL_H

#include <cstdint>
#include <string>

// One of a modem's ports on a fake clock, as cModemTerminal, which the daemon opens by itself. Its
// bytes stay in this process: a pseudo-terminal costs several changes of task for each command,
// which is most of the time of a replay. The program must be linked with MEMORY_TERMINAL_OPTIONS
// (tests/CMakeLists.txt).
class cMemoryTerminal {
  public:
    explicit cMemoryTerminal(std::string path);
    ~cMemoryTerminal();
    cMemoryTerminal(const cMemoryTerminal&) = delete;
    cMemoryTerminal& operator=(const cMemoryTerminal&) = delete;

    bool present() const { return m_isPresent; }
    // Does nothing if the port is there, or is away, already. What is open then is hung up.
    void setPresent(bool present);

    // What the daemon has written.
    std::string receive();
    // Bytes for the daemon, which come as soon as there is room for them.
    void send(const std::string& bytes) { m_unsent += bytes; }
    void deliver();

    // ---- what the daemon's system calls do
    const std::string& path() const { return m_path; }
    size_t waiting() const { return m_toDaemon.size(); }
    size_t take(char* buffer, size_t size);
    void put(const char* bytes, size_t size) { m_fromDaemon.append(bytes, size); }
    // Changes with each hang-up.
    unsigned generation() const { return m_generation; }

  private:
    std::string m_path;
    bool m_isPresent = false;
    unsigned m_generation = 0;
    std::string m_unsent;
    std::string m_toDaemon;
    std::string m_fromDaemon;
};

#endif
