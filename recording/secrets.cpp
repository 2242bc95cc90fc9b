#include "recording/secrets.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "recording/characters.h"

char hiddenCharacter(char character) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80 && isdigit(byte) != 0) return '0';
    if (byte < 0x80 && isalpha(byte) != 0) return 'x';
    return byte != 0 && strchr("\",;= \r\n", character) != nullptr ? character : '_';
}

void hideText(char* text, size_t size) {
    std::transform(text, text + size, text, hiddenCharacter);
}

namespace {

void hideQuoted(char* text, size_t size) {
    const std::string_view view(text, size);
    for (size_t open = view.find('\''); open < size;) {
        const size_t close = std::min(view.find('\'', open + 1), size);
        const size_t inside = close - open - 1;
        if (!isCommandLine(text + open + 1, inside)) hideText(text + open + 1, inside);
        open = close < size ? view.find('\'', close + 1) : size;
    }
}

// "Current CPIN 12ab is not a valid format"
void hideWordsAfter(std::string_view before, char* text, size_t size) {
    const std::string_view view(text, size);
    for (size_t at = view.find(before); at < size; at = view.find(before, at)) {
        at += before.size();
        const char* const end = std::find_if_not(text + at, text + size, isAlphanumeric);
        if (std::any_of(static_cast<const char*>(text + at), end, isDigit))
            hideText(text + at, static_cast<size_t>(end - text) - at);
    }
}

}  // namespace

void hidePins(char* text, size_t size) {
    const std::string_view view(text, size);
    if (view.find("PIN") == std::string_view::npos && view.find("PUK") == std::string_view::npos)
        return;
    hideQuoted(text, size);
    hideWordsAfter("CPIN ", text, size);
    hideWordsAfter(" to ", text, size);
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
    m_characters.fill(false);
    for (size_t i = 0; i < m_count; ++i) {
        m_starts[static_cast<unsigned char>(m_secrets[i][0])] = true;
        for (const char character : m_secrets[i])
            m_characters[static_cast<unsigned char>(character)] = true;
    }
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
