#include "published/outcome_texts.h"

namespace {

bool has(const std::string& text, const char* words) {
    return text.find(words) != std::string::npos;
}

}  // namespace

bool isPinOutcomeGood(const std::string& outcome) {
    return has(outcome, PIN_OUTCOME_SUCCESS) || has(outcome, PIN_OUTCOME_NOTHING_TO_DO);
}

bool isPinOutcomeRefused(const std::string& outcome) {
    return has(outcome, PIN_OUTCOME_REFUSED);
}
