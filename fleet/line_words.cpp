#include "fleet/line_words.h"

#include <unistd.h>

#include "cli/base/printable_text.h"

std::string cLineWords::news(bool isReady, const std::string& trouble) {
    if (m_isLost && isReady && trouble.empty()) {
        m_isLost = false;
        return "connected to the broker again";
    }
    if (m_isLost || trouble.empty()) return "";
    m_isLost = true;
    return "nothing comes from the broker: " + printableLine(trouble) + "; " + m_meanwhile;
}

void cLineWords::follow(const cDesk& desk) {
    std::string sentence = news(desk.isReady(), desk.trouble());
    if (sentence.empty()) return;
    sentence = "cellslot-fleet: " + sentence + "\n";
    if (write(STDERR_FILENO, sentence.data(), sentence.size()) < 0) return;  // nobody reads it
}
