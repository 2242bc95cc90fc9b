#ifndef LE910SIM_COMMAND_LINE_H
#define LE910SIM_COMMAND_LINE_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace le910sim {

// The syntax of an AT command line, ITU-T V.250 section 5.2 and 5.4.

// An unknown or badly formed command: the modem answers ERROR, and the command is noted.
struct cMalformed : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum eCommandForm {
    eFORM_EXECUTE,  // +NAME
    eFORM_READ,     // +NAME?
    eFORM_TEST,     // +NAME=?
    eFORM_SET,      // +NAME=...
};

struct sArgument {
    std::string text;
    bool quoted = false;

    bool omitted() const { return text.empty() && !quoted; }
};

class cArguments {
  public:
    // Splits at commas outside of double quotes.
    static cArguments parse(const std::string& text);

    size_t count() const { return m_items.size(); }
    void expectCount(size_t least, size_t most) const;
    bool given(size_t index) const { return index < m_items.size() && !m_items[index].omitted(); }
    const sArgument& at(size_t index) const;
    // A text; with or without quotes.
    const std::string& text(size_t index) const { return at(index).text; }
    // A text that must be in double quotes.
    const std::string& quotedText(size_t index) const;
    // A decimal number without quotes.
    int64_t number(size_t index, int64_t least, int64_t most) const;
    int64_t numberOr(size_t index, int64_t fallback, int64_t least, int64_t most) const;

  private:
    std::vector<sArgument> m_items;
};

struct sCommand {
    std::string name;  // "+CSQ", "#GPIO", "E", "&F"
    eCommandForm form = eFORM_EXECUTE;
    cArguments args;  // of eFORM_SET; for a basic command its number
    std::string text;
};

// The commands of a line that begins with AT, in order; none for a bare AT.
std::vector<sCommand> parseCommandLine(const std::string& line);

}  // namespace le910sim

#endif
