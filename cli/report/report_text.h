#ifndef CLI_REPORT_REPORT_TEXT_H
#define CLI_REPORT_REPORT_TEXT_H

#include <string>

#include "recording/line_rules.h"
#include "recording/secrets.h"

// What leaves the gateway has no secrets in it, and no identities unless they are wanted.
class cReportText {
  public:
    explicit cReportText(bool withIdentities)
        : m_withIdentities(withIdentities), m_rules(m_secrets, withIdentities) {}

    // A text that is hidden wherever it comes.
    void addSecret(const std::string& secret) { m_secrets.add(secret); }
    // A number that may be too short to be known as an identity.
    void addIdentity(const std::string& number);
    // Each line without what nobody else may see. The daemon's log has PINs, passwords and messages
    // of which no file has a copy any more: they are found by the words before them.
    std::string hidden(const std::string& text);

  private:
    void hideLine(std::string& line);

    bool m_withIdentities;
    cSecrets m_secrets;
    cLineRules m_rules;
};

#endif
