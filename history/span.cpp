#include "history/span.h"

#include <cstring>

#include "history/words.h"

namespace {

struct sUnit {
    char letter;
    time_t seconds;
};
const sUnit UNITS[] = {{'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 7 * 86400}, {'y', 365 * 86400}};

// The files go back three years.
constexpr time_t LENGTH_MAX_S = 10 * 365 * time_t{86400};

std::optional<time_t> lengthOf(const std::string& text) {
    if (text.empty()) return std::nullopt;
    const auto number = numberOf<unsigned>(text.substr(0, text.size() - 1));
    for (const sUnit& unit : UNITS)
        if (number && *number > 0 && unit.letter == text.back() &&
            *number <= LENGTH_MAX_S / unit.seconds)
            return static_cast<time_t>(*number) * unit.seconds;
    return std::nullopt;
}

std::optional<time_t> dateOf(const std::string& text) {
    for (const char* format : {"%Y-%m-%d", "%Y-%m-%d %H:%M"}) {
        tm parts{};
        parts.tm_isdst = -1;
        const char* end = strptime(text.c_str(), format, &parts);
        if (end != nullptr && *end == '\0') return mktime(&parts);
    }
    return std::nullopt;
}

}  // namespace

std::optional<time_t> beginOf(const std::string& text, time_t now) {
    if (const auto length = lengthOf(text)) return now - *length;
    const auto date = dateOf(text);
    return date && *date < now && *date >= now - LENGTH_MAX_S ? date : std::nullopt;
}
