#include "agent/root_protocol.h"

#include <nlohmann/json.hpp>

namespace {

using tJson = nlohmann::json;

sRootAnswer broken(const std::string& why) {
    sRootAnswer answer;
    answer.outcome.text = "The service that executes commands " + why +
                          "; see journalctl -u 'cellslot-agent-commands@*'.";
    return answer;
}

eResult statusNamed(const std::string& word) {
    for (const eResult status : {eResult::DONE, eResult::REFUSED, eResult::STARTED})
        if (word == resultWord(status)) return status;
    return eResult::FAILED;
}

}  // namespace

std::string rootAnswerText(const sRootAnswer& answer) {
    const sOutcome& outcome = answer.outcome;
    tJson line{{"status", resultWord(outcome.status)},
               {"text", outcome.text},
               {"binary", outcome.isBinary},
               {"begun", answer.isBegun},
               {"bytes", outcome.output.size()}};
    if (outcome.exit) line["exit"] = *outcome.exit;
    return line.dump(-1, ' ', false, tJson::error_handler_t::replace) + "\n" + outcome.output;
}

sRootAnswer parseRootAnswer(const std::string& text) {
    const size_t end = text.find('\n');
    if (text.empty()) return broken("ended without an answer");
    if (end == std::string::npos || end > ANSWER_LINE_MAX) return broken("gave no whole answer");
    const tJson line = tJson::parse(text.substr(0, end), nullptr, false);
    if (!line.is_object()) return broken("gave an answer that is none");
    try {
        sRootAnswer answer;
        answer.outcome.status = statusNamed(line.at("status").get<std::string>());
        answer.outcome.text = line.at("text").get<std::string>();
        answer.outcome.isBinary = line.at("binary").get<bool>();
        answer.isBegun = line.at("begun").get<bool>();
        if (line.contains("exit")) answer.outcome.exit = line.at("exit").get<int>();
        answer.outcome.output = text.substr(end + 1);
        if (line.at("bytes").get<size_t>() != answer.outcome.output.size())
            return broken("gave no whole answer");
        return answer;
    } catch (const tJson::exception&) {
        return broken("gave an answer that is none");
    }
}
