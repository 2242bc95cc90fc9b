#include "tests/replay/variations.h"

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "platform/include/text_helpers.h"
#include "tests/matrix/faults.h"

namespace {

using le910sim::sRecordedEvent;
using le910sim::sRecording;

constexpr uint64_t PIECE_MS = 10;
constexpr size_t PIECES_MAX = 4;
constexpr uint64_t LATE_MS = 400;
constexpr size_t UNSOLICITED_ONE_IN = 5;

// The pieces of what the program read after a command; one that stays whole is one piece.
using tPieces =
    std::function<std::vector<std::string>(const std::string& command, const std::string& bytes)>;

bool isFinal(const std::string& bytes) {
    const std::string text = cleanEndWhiteSpace(bytes);
    const auto endsWith = [&](const std::string& end) {
        return text.size() >= end.size() &&
               text.compare(text.size() - end.size(), end.size(), end) == 0;
    };
    return endsWith("\nOK") || endsWith("\nERROR");
}

// Applies a change to every answer, and moves what follows by the time that the pieces take.
sRecording varied(const sRecording& recording, uint64_t pieceMs, const tPieces& piecesOf) {
    sRecording result = recording;
    result.events.clear();
    uint64_t addedMs = 0;
    std::string command;
    uint64_t commandMs = 0;
    bool ended = true;
    for (sRecordedEvent event : recording.events) {
        const uint64_t recordedMs = event.ms;
        event.ms += addedMs;
        if (event.kind == le910sim::eRECORDED_WRITE) {
            if (ended) command.clear();
            command += event.bytes;
            ended = !command.empty() && command.back() == '\r';
            commandMs = recordedMs;
        }
        const bool isAnswer = event.kind == le910sim::eRECORDED_READ && ended &&
                              recordedMs < commandMs + LATE_MS && !event.bytes.empty();
        if (!isAnswer) {
            result.events.push_back(event);
            continue;
        }
        bool isFirst = true;
        for (const std::string& piece :
             piecesOf(command.substr(0, command.size() - 1), event.bytes)) {
            if (piece.empty()) continue;
            if (!isFirst) {
                event.ms += pieceMs;
                addedMs += pieceMs;
            }
            isFirst = false;
            event.bytes = piece;
            result.events.push_back(event);
        }
    }
    return result;
}

}  // namespace

sRecording cutIntoPieces(const sRecording& recording, std::mt19937_64& random) {
    return varied(recording, PIECE_MS, [&](const std::string&, const std::string& bytes) {
        const size_t errorAt = std::min(bytes.find("+CME ERROR:"), bytes.find("+CMS ERROR:"));
        const size_t end = std::min({bytes.size(), errorAt, bytes.find("\nOK\r")});
        std::vector<size_t> cuts = {0, bytes.size()};
        for (size_t left = below(PIECES_MAX, random); left > 0 && end > 0; --left)
            cuts.push_back(below(end, random));
        std::sort(cuts.begin(), cuts.end());
        std::vector<std::string> pieces;
        for (size_t i = 1; i < cuts.size(); ++i)
            pieces.push_back(bytes.substr(cuts[i - 1], cuts[i] - cuts[i - 1]));
        return pieces;
    });
}

sRecording withUnsolicitedLines(const sRecording& recording, std::mt19937_64& random) {
    return varied(
        recording, APART_MS,
        [&](const std::string& command, const std::string& bytes) -> std::vector<std::string> {
            const bool isWhole = startsWith(bytes, command + '\r') && isFinal(bytes);
            if (!isWhole || below(UNSOLICITED_ONE_IN, random) != 0) return {bytes};
            const auto& places = interjectionTable();
            const eInterjectionPlace place = places[below(places.size(), random)].place;
            const std::vector<std::string> lines = interjectionsFor(place, command);
            const size_t echo = command.size() + 1;
            return interjected(place, {bytes.substr(0, echo), bytes.substr(echo)},
                               lines[below(lines.size(), random)]);
        });
}
