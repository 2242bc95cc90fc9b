#include "agent/outcome.h"

#include "cli/base/printable_text.h"

namespace {

// A message may have 64 kB; the rest of it takes less than this.
constexpr size_t QUOTED_MAX = 56 * 1024;
// What a result takes in the store beside its output, and base64 of it.
constexpr size_t ROOM_RESERVE = 64 * 1024;

// Octets of a printable character in a JSON text.
size_t quotedSize(char character) {
    return character == '"' || character == '\\' || character == '\n' || character == '\t' ? 2 : 1;
}

bool isContinuation(char character) {
    return (static_cast<unsigned char>(character) & 0xC0) == 0x80;
}

// The end of a part of the text that begins at start; between two characters.
size_t partEnd(const std::string& text, size_t start) {
    size_t quoted = 0;
    size_t end = start;
    while (end < text.size() && end - start < RESULT_PART_MAX) {
        quoted += quotedSize(text[end]);
        if (quoted > QUOTED_MAX) break;
        ++end;
    }
    if (end == text.size()) return end;
    while (end > start + 1 && isContinuation(text[end]))
        --end;
    return end;
}

std::vector<std::string> partsOf(const std::string& output, bool isBinary) {
    if (output.empty()) return {""};
    std::vector<std::string> parts;
    for (size_t start = 0; start < output.size();) {
        const size_t end =
            isBinary ? std::min(output.size(), start + RESULT_PART_MAX) : partEnd(output, start);
        parts.push_back(output.substr(start, end - start));
        start = end;
    }
    return parts;
}

}  // namespace

std::vector<sDraft> resultDrafts(const sCommand& command, const sOutcome& outcome, time_t now,
                                 size_t room) {
    sResult result;
    result.time = now;
    result.command = command.id;
    result.name = command.name;
    result.by = command.by;
    result.status = outcome.status;
    result.text = outcome.text;
    result.exit = outcome.exit;
    result.isBinary = outcome.isBinary;
    std::string output = outcome.isBinary ? outcome.output : printableText(outcome.output);
    if (output.size() > OUTPUT_MAX || output.size() * 3 / 2 + ROOM_RESERVE > room) {
        result.text += " Its output of " + std::to_string(output.size() / 1024) +
                       " kB is too long to be kept until it is sent.";
        output.clear();
    }
    if (output.empty()) result.isBinary = false;
    const std::vector<std::string> parts = partsOf(output, result.isBinary);
    result.parts = static_cast<int>(parts.size());
    std::vector<sDraft> drafts;
    for (const std::string& part : parts) {
        result.output = part;
        drafts.push_back({eWaiting::RESULT, 0, [result](const sMessageId& id) {
                              sResult named = result;
                              named.id = id;
                              return resultText(named);
                          }});
        ++result.part;
    }
    return drafts;
}

std::string shortText(const sOutcome& outcome) {
    return std::string(resultWord(outcome.status)) + ": " + outcome.text;
}
