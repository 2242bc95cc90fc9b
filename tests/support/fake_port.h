#ifndef TESTS_SUPPORT_FAKE_PORT_H
#define TESTS_SUPPORT_FAKE_PORT_H

#include <cstdint>
#include <deque>
#include <initializer_list>
#include <string>
#include <vector>

// A reply in the modem's framing: CR LF, the lines each with CR LF, an empty line, OK.
std::string modemReply(std::initializer_list<std::string> lines);
// The same with another final line.
std::string modemReply(std::initializer_list<std::string> lines, const std::string& finalLine);

extern const char* const OK_REPLY;
extern const char* const ERROR_REPLY;

// The daemon's end of a modem port, with a scripted modem at the other end and a clock of its own.
// While the object exists, every sleep of the daemon advances that clock and the timers, and then
// the modem has its turn: it reads what the daemon wrote and writes what the script says. No
// threads and no real time. The modem is strict: an unexpected command fails the test, and so does
// an answer that no command used.
class cFakePort {
  public:
    enum class eLink { SOCKET, TERMINAL };

    // SOCKET: descriptor() is open. TERMINAL: a pseudo-terminal to be opened by its path().
    explicit cFakePort(eLink link = eLink::SOCKET);
    ~cFakePort();
    cFakePort(const cFakePort&) = delete;
    cFakePort& operator=(const cFakePort&) = delete;

    int& descriptor() { return m_descriptor; }
    const std::string& path() const { return m_path; }

    // By default the modem echoes every command.
    void setEcho(bool echo) { m_echo = echo; }

    // The answer to the next command without one, sent after the echo. In pieces: one per wait.
    cFakePort& answer(const std::string& text) { return answerInPieces({text}); }
    cFakePort& answerInPieces(std::vector<std::string> pieces);
    cFakePort& silence() { return answerInPieces({}); }
    // The next command gets its answer with this delay.
    cFakePort& answerLate(unsigned delayMs, const std::string& text);

    // Sends unsolicited text, now or at a later time.
    void say(const std::string& text);
    void sayIn(unsigned delayMs, const std::string& text);

    // Closes the modem's end.
    void hangUp();

    // The commands so far, each without its carriage return, and every byte that was written.
    const std::vector<std::string>& commands() const { return m_commands; }
    const std::string& written() const { return m_written; }

    uint64_t elapsedUs() const { return m_elapsedUs; }
    uint64_t elapsedMs() const { return m_elapsedUs / 1000; }
    const std::vector<unsigned>& sleepsUs() const { return m_sleepsUs; }

  private:
    struct sPiece {
        uint64_t dueUs;
        std::string text;
    };
    struct sAnswer {
        unsigned delayMs;
        std::vector<std::string> pieces;
    };

    static void onSleep(unsigned microseconds);
    static uint64_t clockMs();
    void openSocket();
    void openTerminal();
    void takeTurn();
    void readCommands();
    void waitForTerminal(int end);
    void startAnswer();
    void deliver();
    void flush();

    static cFakePort* s_current;
    int m_descriptor = -1;
    int m_modem = -1;
    std::string m_path;
    int m_terminalTurns;  // turns that still get real time, on a terminal
    bool m_echo = true;
    std::deque<sAnswer> m_script;
    std::deque<sPiece> m_pieces;
    std::string m_out;
    std::string m_pending;
    std::vector<std::string> m_commands;
    std::string m_written;
    std::vector<unsigned> m_sleepsUs;
    uint64_t m_elapsedUs = 0;
};

#endif
