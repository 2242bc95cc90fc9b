#ifndef PUBLISHED_SLOT_H
#define PUBLISHED_SLOT_H

#include <string>

// The slots of a gateway. Each has its own daemon, and the names of its files end with its number.
constexpr int FIRST_SLOT = 1;
constexpr int LAST_SLOT = 3;

// The text of a slot in names: the daemon has it as text, other programs as a number.
class cSlotText {
  public:
    // cppcheck-suppress noExplicitConstructor
    cSlotText(int slot) : m_text(std::to_string(slot)) {}
    // cppcheck-suppress noExplicitConstructor
    cSlotText(const std::string& slot) : m_text(slot) {}
    // cppcheck-suppress noExplicitConstructor
    cSlotText(const char* slot) : m_text(slot) {}

    const std::string& text() const { return m_text; }

  private:
    std::string m_text;
};

#endif
