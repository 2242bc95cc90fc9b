#include "le910sim/command_line.h"

#include <cctype>

#include "platform/include/text_helpers.h"

namespace le910sim {

namespace {

std::string trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(' ');
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The pieces of text between separators outside of double quotes.
std::vector<std::string> splitOutsideQuotes(const std::string& text, char separator) {
    std::vector<std::string> pieces(1);
    bool quoted = false;
    for (const char letter : text) {
        if (letter == '"') quoted = !quoted;
        if (letter == separator && !quoted) {
            pieces.emplace_back();
        } else {
            pieces.back() += letter;
        }
    }
    if (quoted) throw cMalformed("a double quote is not closed");
    return pieces;
}

bool isExtended(char letter) {
    return letter == '+' || letter == '#' || letter == '$';
}

size_t nameEnd(const std::string& text) {
    size_t end = 1;
    while (end < text.size() && std::isalnum(static_cast<unsigned char>(text[end])) != 0)
        ++end;
    return end;
}

sCommand parseExtended(const std::string& text) {
    sCommand command;
    command.text = text;
    const size_t end = nameEnd(text);
    command.name = stringUpper(text.substr(0, end));
    const std::string rest = text.substr(end);
    if (end == 1) throw cMalformed("no command name");
    if (rest.empty()) return command;
    if (rest == "?") {
        command.form = eFORM_READ;
    } else if (rest == "=?") {
        command.form = eFORM_TEST;
    } else if (rest[0] == '=') {
        command.form = eFORM_SET;
        command.args = cArguments::parse(rest.substr(1));
    } else {
        throw cMalformed("neither '?' nor '=' after the name");
    }
    return command;
}

// Basic commands need no separator between them: E0V1.
void parseBasic(const std::string& text, std::vector<sCommand>& commands) {
    size_t position = 0;
    while (position < text.size()) {
        sCommand command;
        const size_t start = position;
        if (text[position] == '&') ++position;
        if (position == text.size() ||
            std::isalpha(static_cast<unsigned char>(text[position])) == 0) {
            throw cMalformed("not a command");
        }
        command.name = stringUpper(text.substr(start, ++position - start));
        const size_t number = position;
        // What follows D is a number to dial, to the end of the line.
        if (command.name == "D") position = text.size();
        while (position < text.size() &&
               std::isdigit(static_cast<unsigned char>(text[position])) != 0) {
            ++position;
        }
        command.args = cArguments::parse(text.substr(number, position - number));
        command.text = text.substr(start, position - start);
        commands.push_back(command);
    }
}

}  // namespace

cArguments cArguments::parse(const std::string& text) {
    cArguments result;
    for (const std::string& raw : splitOutsideQuotes(text, ',')) {
        const std::string piece = trimmed(raw);
        sArgument argument;
        const size_t quotes = piece.find('"');
        if (quotes == std::string::npos) {
            argument.text = piece;
        } else {
            if (quotes != 0 || piece.size() < 2 || piece.find('"', 1) != piece.size() - 1) {
                throw cMalformed("double quotes inside an argument");
            }
            argument.text = piece.substr(1, piece.size() - 2);
            argument.quoted = true;
        }
        result.m_items.push_back(argument);
    }
    return result;
}

void cArguments::expectCount(size_t least, size_t most) const {
    if (count() < least) throw cMalformed("too few arguments");
    if (count() > most) throw cMalformed("too many arguments");
}

const sArgument& cArguments::at(size_t index) const {
    if (index >= m_items.size()) throw cMalformed("too few arguments");
    return m_items[index];
}

const std::string& cArguments::quotedText(size_t index) const {
    const sArgument& argument = at(index);
    if (!argument.quoted) {
        throw cMalformed("argument " + std::to_string(index + 1) + " is not in double quotes");
    }
    return argument.text;
}

int64_t cArguments::number(size_t index, int64_t least, int64_t most) const {
    const sArgument& argument = at(index);
    const std::string what = "argument " + std::to_string(index + 1);
    if (argument.quoted || !isStringNumeric(argument.text) || argument.text.size() > 18) {
        throw cMalformed(what + " is not a number");
    }
    const int64_t value = std::stoll(argument.text);
    if (value < least || value > most) throw cMalformed(what + " is out of range");
    return value;
}

int64_t cArguments::numberOr(size_t index, int64_t fallback, int64_t least, int64_t most) const {
    return given(index) ? number(index, least, most) : fallback;
}

std::vector<sCommand> parseCommandLine(const std::string& line) {
    if (stringUpper(line.substr(0, 2)) != "AT") throw cMalformed("does not begin with AT");
    std::vector<sCommand> commands;
    const std::string body = line.substr(2);
    if (trimmed(body).empty()) return commands;
    for (const std::string& piece : splitOutsideQuotes(body, ';')) {
        const std::string text = trimmed(piece);
        if (text.empty()) throw cMalformed("empty command");
        if (isExtended(text[0])) {
            commands.push_back(parseExtended(text));
        } else {
            parseBasic(text, commands);
        }
    }
    return commands;
}

}  // namespace le910sim
