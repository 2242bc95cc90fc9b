#include "sms/part_pairing.h"

#include <algorithm>
#include <deque>
#include <map>
#include <tuple>

#include "platform/include/text_helpers.h"

namespace {

// The service centre stamps each part on arrival, and a sender sends its parts one after the other.
constexpr uint32_t SPAN_MAX_S = 3600;

using tPointers = std::vector<const sWaitingPart*>;
using tPlaces = std::map<const sWaitingPart*, size_t>;  // the message that a part belongs to
using tRows = std::map<int32_t, std::deque<const sWaitingPart*>>;

// The counter at the end of a part's file name, which is the order of a listing.
int placeInListing(const std::string& path) {
    return textToInt(path.substr(path.rfind('.') + 1));
}

// The parts of each sender as written, in their order.
std::map<std::string, tPointers> bySender(const tPointers& parts) {
    std::map<std::string, tPointers> senders;
    for (const sWaitingPart* part : parts)
        senders[part->fromAsWritten].push_back(part);
    return senders;
}

// The parts of each number from 1 to the total, in their order.
tRows rowsOf(const tPointers& parts) {
    const int32_t total = parts.front()->attributes.partTotal;
    tRows rows;
    for (int32_t number = 1; number <= total; ++number)
        rows[number];
    for (const sWaitingPart* part : parts) {
        const auto row = rows.find(part->attributes.partNumber);
        if (row != rows.end()) row->second.push_back(part);
    }
    return rows;
}

bool isAnyEmpty(const tRows& rows) {
    return std::any_of(rows.begin(), rows.end(),
                       [](const auto& row) { return row.second.empty(); });
}

bool isFrontOlder(const tRows::value_type& a, const tRows::value_type& b) {
    return isOlder(*a.second.front(), *b.second.front());
}

// If the oldest parts of the numbers cannot be one message, the oldest of all is left out: every
// other part is even further away from it.
void placeWholeMessages(const tPointers& byAge, size_t& count, tPlaces& places) {
    tRows rows = rowsOf(byAge);
    while (!isAnyEmpty(rows)) {
        const auto [oldest, newest] = std::minmax_element(rows.begin(), rows.end(), isFrontOlder);
        const uint32_t spanS = newest->second.front()->attributes.timeUnformatted -
                               oldest->second.front()->attributes.timeUnformatted;
        if (spanS > SPAN_MAX_S) {
            oldest->second.pop_front();
            continue;
        }
        for (auto& [number, row] : rows) {
            places[row.front()] = count;
            row.pop_front();
        }
        ++count;
    }
}

// The oldest part of each number without a place belongs to the first message, and so on.
void placeOthers(const tPointers& byAge, size_t first, tPlaces& places) {
    std::map<int32_t, size_t> olderOnes;  // of each number
    for (const sWaitingPart* part : byAge) {
        if (places.count(part) != 0) continue;
        const size_t place = first + olderOnes[part->attributes.partNumber]++;
        places.emplace(part, place);
    }
}

}  // namespace

sWaitingPart waitingPart(const sPartFile& file) {
    return {file.attributes, file.fromAsWritten, file.identity.modifiedNs};
}

bool isOlder(const sWaitingPart& a, const sWaitingPart& b) {
    const auto age = [](const sWaitingPart& part) {
        return std::tuple(part.attributes.timeUnformatted, part.modifiedNs,
                          placeInListing(part.attributes.fileName), part.attributes.fileName);
    };
    return age(a) < age(b);
}

std::vector<tParts> pairParts(const tParts& parts) {
    tPointers byAge;
    for (const sWaitingPart& part : parts)
        byAge.push_back(&part);
    std::sort(byAge.begin(), byAge.end(),
              [](const sWaitingPart* a, const sWaitingPart* b) { return isOlder(*a, *b); });
    tPlaces places;
    size_t count = 0;
    for (const auto& [sender, sent] : bySender(byAge))
        placeWholeMessages(sent, count, places);
    placeOthers(byAge, count, places);

    std::vector<tParts> messages;
    for (const sWaitingPart& part : parts) {
        const size_t place = places[&part];
        if (messages.size() <= place) messages.resize(place + 1);
        messages[place].push_back(part);
    }
    return messages;
}
