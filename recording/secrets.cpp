#include "recording/secrets.h"

#include <algorithm>
#include <cctype>
#include <cstring>

char hiddenCharacter(char character) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80 && isdigit(byte) != 0) return '0';
    if (byte < 0x80 && isalpha(byte) != 0) return 'x';
    return byte != 0 && strchr("\",;= \r\n", character) != nullptr ? character : '_';
}

void hideText(char* text, size_t size) {
    std::transform(text, text + size, text, hiddenCharacter);
}

bool cSecrets::isKnown(const std::string& secret) const {
    return std::find(m_secrets.begin(), m_secrets.end(), secret) != m_secrets.end();
}

void cSecrets::add(const std::string& secret) {
    if (secret.size() < SECRET_MIN || secret.size() > SECRET_MAX || isKnown(secret)) return;
    std::string hidden = secret;
    hideText(hidden.data(), hidden.size());
    if (hidden == secret) return;
    m_secrets[m_next++ % SECRETS_MAX] = secret;
    m_count = std::min(m_next, SECRETS_MAX);
    m_starts.fill(false);
    for (size_t i = 0; i < m_count; ++i)
        m_starts[static_cast<unsigned char>(m_secrets[i][0])] = true;
}

bool cSecrets::hideAt(char* text, size_t size) const {
    for (size_t i = 0; i < m_count; ++i) {
        const std::string& secret = m_secrets[i];
        if (secret.size() > size || memcmp(secret.data(), text, secret.size()) != 0) continue;
        hideText(text, secret.size());
        return true;
    }
    return false;
}

bool cSecrets::hideIn(char* text, size_t size) const {
    if (isEmpty()) return false;
    bool isFound = false;
    // A hidden secret may complete another one.
    for (bool isChanged = true; isChanged;) {
        isChanged = false;
        for (size_t at = 0; at + SECRET_MIN <= size; ++at)
            if (mayBeginWith(text[at]) && hideAt(text + at, size - at)) isChanged = true;
        isFound |= isChanged;
    }
    return isFound;
}
