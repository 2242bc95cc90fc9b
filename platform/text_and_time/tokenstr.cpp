#include "platform/include/tokenstr.h"

#include <algorithm>

tokenstr::tokenstr(const std::string& text, char separator, eEmptyTokens emptyTokens) {
    if (text.empty()) return;
    m_tokens.reserve(1 + static_cast<size_t>(std::count(text.begin(), text.end(), separator)));
    split(text, {&separator, 1}, emptyTokens);
}

tokenstr::tokenstr(const std::string& text, const std::string& separator,
                   eEmptyTokens emptyTokens) {
    if (!text.empty()) split(text, separator, emptyTokens);
}

void tokenstr::split(const std::string& text, std::string_view separator,
                     eEmptyTokens emptyTokens) {
    size_t begin = 0;
    while (begin != std::string::npos) {
        const size_t end = separator.empty() ? std::string::npos : text.find(separator, begin);
        const size_t length = end == std::string::npos ? end : end - begin;
        std::string token = text.substr(begin, length);
        if (!token.empty() || emptyTokens == eEmptyTokens::KEEP) {
            m_tokens.push_back(std::move(token));
        }
        begin = end == std::string::npos ? end : end + separator.size();
    }
}

const std::string& tokenstr::operator[](size_t index) const {
    static const std::string none;
    return index < m_tokens.size() ? m_tokens[index] : none;
}
