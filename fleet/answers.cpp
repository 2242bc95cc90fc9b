#include "fleet/answers.h"

#include "cli/base/printable_text.h"

namespace {

// Executed before, and what came of it: after a line that broke, we ask again.
bool isGood(const sResult& result) {
    if (result.status == eResult::REPEATED) return result.exit && *result.exit == 0;
    return isSuccess(result.status);
}

}  // namespace

void cAnswers::expect(const std::string& gateway, const std::string& commandId) {
    m_expected[commandId] = {gateway, {}};
}

std::optional<sAnswer> cAnswers::take(const std::string& gateway, const sResult& result) {
    const auto found = m_expected.find(result.command);
    if (found == m_expected.end() || found->second.gateway != gateway) return std::nullopt;
    if (!isFinal(result.status) || result.parts > PARTS_MAX || result.part < 1 ||
        result.part > result.parts)
        return std::nullopt;
    std::map<int, std::string>& parts = found->second.parts;
    if (result.output.size() > RESULT_PART_MAX) return std::nullopt;
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
