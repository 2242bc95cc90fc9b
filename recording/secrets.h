#ifndef RECORDING_SECRETS_H
#define RECORDING_SECRETS_H

#include <array>
#include <cstddef>
#include <string>

// The secrets that the recorder has seen. Wherever one of them comes again, it is hidden.
class cSecrets {
  public:
    // Shorter ones cannot be told from other text.
    static constexpr size_t SECRET_MIN = 4;

    // Keeps a text as a secret; the oldest one is forgotten if there are too many. Ignores a text
    // that is too short, too long, or made of stand-ins already.
    void add(const std::string& secret);
    // Hides every secret in a text. True if there was one.
    bool hideIn(char* text, size_t size) const;
    // Whether a secret may begin with this character.
    bool mayBeginWith(char character) const {
        return m_starts[static_cast<unsigned char>(character)];
    }
    // Whether a secret may have the character at this place: with those around it that are of
    // secrets too, it is as long as one.
    bool mayHave(const char* text, size_t size, size_t at) const {
        size_t end = at;
        while (end < size && isOfSecret(text[end]))
            ++end;
        if (end == at) return false;
        while (at > 0 && isOfSecret(text[at - 1]))
            --at;
        return end - at >= SECRET_MIN;
    }
    bool isEmpty() const { return m_count == 0; }
    // Changes with each secret that is added.
    size_t version() const { return m_next; }

  private:
    static constexpr size_t SECRET_MAX = 128;
    static constexpr size_t SECRETS_MAX = 32;

    bool isOfSecret(char character) const {
        return m_characters[static_cast<unsigned char>(character)];
    }
    bool isKnown(const std::string& secret) const;
    bool hideAt(char* text, size_t size) const;

    std::array<std::string, SECRETS_MAX> m_secrets;
    size_t m_count = 0;
    size_t m_next = 0;
    std::array<bool, 256> m_starts{};
    std::array<bool, 256> m_characters{};
};

// What stands in a recording for a character of a secret: '0' for a digit, 'x' for a letter, '_'
// for others. Quotation mark, comma, semicolon, equals sign and blank stay: they are the command's
// form.
char hiddenCharacter(char character);
void hideText(char* text, size_t size);

// Hides PIN and PUK in what the daemon logs or publishes about them: texts between apostrophes but
// commands, and words with a digit where it has them without.
void hidePins(char* text, size_t size);

#endif
