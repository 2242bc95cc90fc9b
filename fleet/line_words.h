#ifndef FLEET_LINE_WORDS_H
#define FLEET_LINE_WORDS_H

#include <string>

#include "fleet/desk.h"

// What a program that follows the broker says at standard error when the connection goes and when
// it is back: without it, nothing that comes would look like nothing that happens.
class cLineWords {
  public:
    // meanwhile: what becomes of what is missed.
    explicit cLineWords(std::string meanwhile) : m_meanwhile(std::move(meanwhile)) {}

    // Says what has changed since the last call.
    void follow(const cDesk& desk);

    // The sentence; empty if there is nothing new. isReady and trouble: as those of cDesk.
    std::string news(bool isReady, const std::string& trouble);

  private:
    const std::string m_meanwhile;
    bool m_isLost = false;
};

#endif
