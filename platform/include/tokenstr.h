#ifndef PLATFORM_INCLUDE_TOKENSTR_H
#define PLATFORM_INCLUDE_TOKENSTR_H

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Positional fields must keep their empty neighbours ("1,,3" has three fields); lists of words and
// lines of text need not. There is no default: a wrong choice moves every field after a gap.
enum class eEmptyTokens { KEEP, DROP };

// A text split at a separator. With KEEP a text without separator is one token, an empty text has
// none, and a trailing separator adds an empty token.
class tokenstr {
  public:
    tokenstr() = default;
    tokenstr(const std::string& text, char separator, eEmptyTokens emptyTokens);
    // Separated by a text, such as "::".
    tokenstr(const std::string& text, const std::string& separator, eEmptyTokens emptyTokens);
    explicit tokenstr(std::vector<std::string> tokens) : m_tokens(std::move(tokens)) {}

    size_t size() const { return m_tokens.size(); }
    bool empty() const { return m_tokens.empty(); }
    // The token, or an empty text if there are fewer tokens.
    const std::string& operator[](size_t index) const;

    std::vector<std::string>::const_iterator begin() const { return m_tokens.begin(); }
    std::vector<std::string>::const_iterator end() const { return m_tokens.end(); }

  private:
    void split(const std::string& text, std::string_view separator, eEmptyTokens emptyTokens);

    std::vector<std::string> m_tokens;
};

#endif
