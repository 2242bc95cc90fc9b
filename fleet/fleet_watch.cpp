#include "fleet/fleet_watch.h"

#include <algorithm>

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/base/utc_time.h"
#include "fleet/fleet_screen.h"

namespace {

// Summary, titles and footer.
constexpr size_t FRAME_ROWS = 3;

std::string footer(size_t hidden, time_t now, const std::string& trouble) {
    const std::string more = hidden > 0 ? std::to_string(hidden) + " more below; " : "";
    const std::string line =
        trouble.empty() ? utcText(now) : "! no connection: " + printableLine(trouble);
    return more + line + "; q quits";
}

tLines shortLines(const sJudgement& judgement, time_t now, size_t columns) {
    tLines lines = gatewayHead(judgement, now);
    if (judgement.troubles.empty()) return lines;
    const size_t more = judgement.troubles.size() - 1;
    const std::string others = more > 0 ? " (and " + std::to_string(more) + " more)" : "";
    const size_t room = columns - 1 > others.size() ? columns - 1 - others.size() : 0;
    lines.push_back(cutTo("  ! " + judgement.troubles.front().what, room) + others);
    return lines;
}

}  // namespace

tLines fleetWatch(const std::vector<sJudgement>& chosen, size_t all, time_t now,
                  const sTerminalSize& size, const std::string& trouble) {
    tLines lines = {fleetSummary(chosen, all), fleetTitles()};
    const size_t room = size.rows > FRAME_ROWS ? size.rows - FRAME_ROWS : 0;
    size_t shown = 0;
    for (; shown < chosen.size(); ++shown) {
        const tLines more = shortLines(chosen[shown], now, size.columns);
        // Only whole gateways, but of the first what there is room for.
        const size_t left = room + 2 - lines.size();
        if (more.size() > left && shown > 0) break;
        lines.insert(lines.end(), more.begin(),
                     more.begin() + static_cast<std::ptrdiff_t>(std::min(more.size(), left)));
    }
    lines.push_back(footer(chosen.size() - shown, now, trouble));
    for (std::string& line : lines)
        line = cutTo(line, size.columns - 1);
    return lines;
}
