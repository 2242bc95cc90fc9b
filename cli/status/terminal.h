#ifndef CLI_STATUS_TERMINAL_H
#define CLI_STATUS_TERMINAL_H

#include <iosfwd>
#include <string>

#include "cli/status/watch_screen.h"

// The caller's terminal as a live screen: keys arrive one by one, without echo. The destructor
// restores it, also after a signal.
class cTerminal {
  public:
    // Throws cFailure if standard input or output is not a terminal; instead: what to use then.
    explicit cTerminal(std::ostream& out, const std::string& instead = "cellslot status");
    ~cTerminal();
    cTerminal(const cTerminal&) = delete;
    cTerminal& operator=(const cTerminal&) = delete;

    enum class eEvent { TIME_OUT, REDRAW, QUIT };
    // Waits for a key, a change of size, a signal that ends the program, or the time-out. 'q'
    // quits, any other key redraws.
    eEvent wait(int milliseconds);

    sTerminalSize size() const;

    // Shows the lines; sends only those that changed. False when the terminal is gone.
    bool show(const tLines& lines);
    // Makes the next show send every line.
    void forget();

  private:
    void writeLine(const std::string& line);

    std::ostream& m_out;
    bool m_isPlain;  // a serial console: only cursor home and clear
    bool m_isColour;
    tLines m_shown;
};

#endif
