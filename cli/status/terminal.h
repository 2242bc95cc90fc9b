#ifndef CLI_STATUS_TERMINAL_H
#define CLI_STATUS_TERMINAL_H

#include <iosfwd>
#include <string>

#include "cli/status/watch_screen.h"

// The caller's terminal for a live screen: keys come one by one and are not echoed. The destructor
// puts everything back, also when a signal ended the work.
class cTerminal {
  public:
    // Throws cFailure when standard input or output is no terminal.
    explicit cTerminal(std::ostream& out);
    ~cTerminal();
    cTerminal(const cTerminal&) = delete;
    cTerminal& operator=(const cTerminal&) = delete;

    enum class eEvent { TIME_OUT, REDRAW, QUIT };
    // Waits for a key, a change of size, a signal that ends the program, or the time. 'q' quits,
    // every other key draws anew.
    eEvent wait(int milliseconds);

    sTerminalSize size() const;

    // Shows the lines; sends only those that changed. False when the terminal is gone.
    bool show(const tLines& lines);
    // The next show sends every line.
    void forget();

  private:
    void writeLine(const std::string& line);

    std::ostream& m_out;
    bool m_isPlain;  // a serial console: no more than cursor home and clear
    bool m_isColour;
    tLines m_shown;
};

#endif
