#include "platform/include/tokenstr.h"

tokenstr::tokenstr(const std::string& text, char separator, eEmptyTokens emptyTokens)
    : tokenstr(text, std::string(1, separator), emptyTokens) {}

tokenstr::tokenstr(const std::string& text, const std::string& separator,
                   eEmptyTokens emptyTokens) {
    if (text.empty()) return;
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
