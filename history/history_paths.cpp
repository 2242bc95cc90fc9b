#include "history/history_paths.h"

#include "history/layout.h"
#include "platform/include/text_helpers.h"

std::string eventsName(int slot) {
    return itos(slot) + ".events";
}

std::string olderEventsName(int slot) {
    return eventsName(slot) + ".1";
}

std::string usageName(int slot) {
    return itos(slot) + ".usage";
}

std::string redoName(int slot) {
    return itos(slot) + ".redo";
}

std::string historyPath(const sPlaces& places, const std::string& name) {
    return places.at(std::string(HISTORY_FOLDER) + "/" + name);
}

std::string pendingPath(const sPlaces& places, int slot) {
    return places.at(std::string(HISTORY_RUN_FOLDER) + "/" + itos(slot) + ".pending");
}

std::vector<std::string> historyNames(int slot) {
    std::vector<std::string> names;
    for (const sStore& store : STORES)
        names.push_back(storeName(store, slot));
    names.insert(names.end(),
                 {eventsName(slot), olderEventsName(slot), usageName(slot), redoName(slot)});
    return names;
}
