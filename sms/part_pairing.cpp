#include "sms/part_pairing.h"

#include <algorithm>
#include <map>
#include <tuple>

#include "platform/include/text_helpers.h"

namespace {

// The counter at the end of a part's file name, which is the order of a listing.
int placeInListing(const std::string& path) {
    return textToInt(path.substr(path.rfind('.') + 1));
}

}  // namespace

sWaitingPart waitingPart(const sPartFile& file) {
    return {file.attributes, file.identity.modifiedNs};
}

bool isOlder(const sWaitingPart& a, const sWaitingPart& b) {
    const auto age = [](const sWaitingPart& part) {
        return std::tuple(part.attributes.timeUnformatted, part.modifiedNs,
                          placeInListing(part.attributes.fileName), part.attributes.fileName);
    };
    return age(a) < age(b);
}

std::vector<tParts> pairParts(const tParts& parts) {
    std::vector<const sWaitingPart*> byAge;
    for (const sWaitingPart& part : parts)
        byAge.push_back(&part);
    std::sort(byAge.begin(), byAge.end(),
              [](const sWaitingPart* a, const sWaitingPart* b) { return isOlder(*a, *b); });
    std::map<int32_t, size_t> olderOnes;  // of each number
    std::map<const sWaitingPart*, size_t> places;
    for (const sWaitingPart* part : byAge)
        places[part] = olderOnes[part->attributes.partNumber]++;

    std::vector<tParts> messages;
    for (const sWaitingPart& part : parts) {
        const size_t place = places[&part];
        if (messages.size() <= place) messages.resize(place + 1);
        messages[place].push_back(part);
    }
    return messages;
}
