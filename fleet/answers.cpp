#include "fleet/answers.h"

#include "cli/base/printable_text.h"
#include "platform/include/text_helpers.h"

namespace {

// We ask again while no answer comes: it may have been executed, and only the answer was lost.
bool isGood(const sResult& result) {
    if (result.status != eResult::REPEATED) return isSuccess(result.status);
    for (const eResult former : {eResult::DONE, eResult::CONFIRMED})
        if (startsWith(result.text, std::string(REPEATED_BEGINS) + resultWord(former))) return true;
    return false;
}

}  // namespace

void cAnswers::expect(const std::string& gateway, const std::string& commandId) {
    m_expected[commandId] = {gateway, eResult::DONE, {}};
}

std::optional<sAnswer> cAnswers::take(const std::string& gateway, const sResult& result) {
    const auto found = m_expected.find(result.command);
    if (found == m_expected.end() || found->second.gateway != gateway) return std::nullopt;
    if (!isFinal(result.status) || result.parts > PARTS_MAX || result.part < 1 ||
        result.part > result.parts)
        return std::nullopt;
    std::map<int, std::string>& parts = found->second.parts;
    if (result.output.size() > RESULT_PART_MAX) return std::nullopt;
    // Of the first answer some parts were lost: what came again says what became of it.
    if (result.status != found->second.status) parts.clear();
    found->second.status = result.status;
    parts[result.part] = result.output;
    if (parts.size() < static_cast<size_t>(result.parts)) return std::nullopt;
    sAnswer answer;
    answer.gateway = gateway;
    answer.status = result.status;
    answer.text = printableLine(result.text);
    answer.exit = result.exit;
    answer.isSuccess = isGood(result);
    for (const auto& [number, output] : parts)
        answer.output += output;
    m_expected.erase(found);
    return answer;
}
