#ifndef FUZZ_SCRIPTED_PORT_H
#define FUZZ_SCRIPTED_PORT_H

#include <deque>
#include <string>
#include <vector>

// The daemon's end of a modem port. The other end sends the pieces, one at each sleep of the
// daemon, whatever the daemon writes. No real time passes.
class cScriptedPort {
  public:
    enum class eLink { SOCKET, TERMINAL };

    // SOCKET: descriptor() is open. TERMINAL: to be opened by its path().
    explicit cScriptedPort(const std::vector<std::string>& pieces, eLink link = eLink::SOCKET);
    ~cScriptedPort();
    cScriptedPort(const cScriptedPort&) = delete;
    cScriptedPort& operator=(const cScriptedPort&) = delete;

    int descriptor() const { return m_descriptor; }
    const std::string& path() const { return m_path; }
    // Everything that the daemon has written so far.
    const std::string& written();
    // How many pieces were sent.
    size_t said() const { return m_said; }

  private:
    static void onSleep(unsigned microseconds);
    void openSocket();
    void openTerminal();
    void takeTurn();

    static cScriptedPort* s_current;
    int m_descriptor = -1;
    int m_modem = -1;
    std::string m_path;
    std::deque<std::string> m_pieces;
    std::string m_written;
    size_t m_said = 0;
};

#endif
