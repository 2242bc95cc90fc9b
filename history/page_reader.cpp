#include "history/page_reader.h"

#include <optional>
#include <ostream>

#include "history/history_export.h"
#include "history/slot_history.h"
#include "history/span.h"
#include "history/words.h"
#include "published/slot.h"

namespace {

constexpr size_t EVENTS_MAX = 1000;

std::optional<int> slotIn(const std::vector<std::string>& words) {
    const auto slot = words.size() < 2 ? std::nullopt : numberOf<int>(words[1]);
    return slot && *slot >= FIRST_SLOT && *slot <= LAST_SLOT ? slot : std::nullopt;
}

std::string eventsPage(const cSlotHistory& history, time_t now) {
    return "{\"events\":" + eventsJson(history.events({0, now + 1}, EVENTS_MAX)) + "}";
}

eExitStatus usageError(std::ostream& err) {
    err << "Usage: cellslot-web-history history SLOT RANGE | events SLOT\n"
           "SLOT is 1, 2 or 3, RANGE like 24h or 7d. The page of the gateway starts it.\n";
    return eExitStatus::USAGE;
}

}  // namespace

eExitStatus runPageReader(const std::vector<std::string>& words, const sPlaces& places, time_t now,
                          std::ostream& out, std::ostream& err) {
    const std::optional<int> slot = slotIn(words);
    const bool wantsEvents = slot && words.size() == 2 && words[0] == "events";
    const auto begin =
        slot && words.size() == 3 && words[0] == "history" ? beginOf(words[2], now) : std::nullopt;
    if (!wantsEvents && !begin) return usageError(err);
    const cSlotHistory history(places, *slot);
    if (history.state() == eHistory::NOT_PERMITTED || history.state() == eHistory::DAMAGED) {
        err << "cellslot-web-history: " << history.defect() << "\n";
        return eExitStatus::FAILED;
    }
    out << (wantsEvents ? eventsPage(history, now) : pageJson(history, {*begin, now})) << "\n";
    return out.flush() ? eExitStatus::OK : eExitStatus::FAILED;
}
