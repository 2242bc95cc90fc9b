#include "history/history_graph.h"

#include <rrd.h>

#include <cmath>
#include <vector>

#include "cli/base/failure.h"
#include "history/history_screen.h"
#include "history/layout.h"
#include "history/snapshot.h"
#include "platform/include/text_helpers.h"

namespace {

struct sLine {
    eSource source;
    const char* colour;
};
const sLine LINES[] = {
    {eSource::RSRP, "#1f5fa8"}, {eSource::RSCP, "#2a8a5a"}, {eSource::RSSI, "#9a6a1a"}};

// Behind the lines, where a row was not connected all the time: a row may be a day.
struct sArea {
    const char* name;
    const char* isPart;  // of the rows: a condition for CDEF
    const char* colour;
    const char* words;
};
const sArea AREAS[] = {
    {"never", "connected,0.02,LT", "#c86464", "no connection"},
    {"partly", "connected,0.02,GE,connected,1,LT,*", "#e8a0a0", "none for a part of the time"},
};

// Two, since the lines are below zero: one up and one down.
void addArea(std::vector<std::string>& list, const sArea& area) {
    const std::string name = area.name;
    for (const char* infinity : {"INF", "NEGINF"}) {
        const std::string half = name + infinity;
        const bool isFirst = infinity == std::string("INF");
        list.push_back("CDEF:" + half + "=" + area.isPart + "," + infinity + ",UNKN,IF");
        list.push_back("AREA:" + half + area.colour +
                       (isFirst ? std::string(":") + area.words : ""));
    }
}

bool hasFigures(const sSnapshot& snapshot, eSource source, const sTimeRange& range) {
    const sStore& store = storeOf(source);
    const cRrdImage& image = *snapshot.stores[0];
    for (const sArchive& archive : store.archives) {
        if (archive.function != eConsolidation::AVERAGE) continue;
        const cRrdImage::sRows rows = image.rows(archive, range.from, range.to);
        for (size_t i = 0; i < rows.count(); ++i)
            if (!std::isnan(rows.at(i, placeOf(store, source)))) return true;
    }
    return false;
}

std::vector<std::string> argumentsFor(const sSnapshot& snapshot, int slot, const sTimeRange& range,
                                      eGraph kind) {
    std::vector<std::string> list = {"graphv",
                                     "-",
                                     "--imgformat",
                                     kind == eGraph::PNG ? "PNG" : "SVG",
                                     "--start",
                                     ltos(range.from),
                                     "--end",
                                     ltos(range.to),
                                     "--width",
                                     "700",
                                     "--height",
                                     "260",
                                     "--title",
                                     historyTitle(slot, range),
                                     "--vertical-label",
                                     "dBm",
                                     "--alt-autoscale"};
    const std::string file = "/proc/self/fd/" + itos(snapshot.stores[0]->descriptor());
    list.push_back("DEF:connected=" + file + ":connected:AVERAGE");
    for (const sArea& area : AREAS)
        addArea(list, area);
    for (const sLine& line : LINES) {
        if (!hasFigures(snapshot, line.source, range)) continue;
        const std::string name = describe(line.source).name;
        list.push_back("DEF:" + name + "=" + file + ":" + name + ":AVERAGE");
        list.push_back("LINE1:" + name + line.colour + ":" + describe(line.source).words);
    }
    return list;
}

}  // namespace

std::string drawHistory(const sPlaces& places, int slot, const sTimeRange& range, eGraph kind) {
    sSnapshot snapshot;
    takeSnapshot(places, slot, snapshot);
    if (snapshot.state != sSnapshot::eState::GOOD)
        throw cFailure(eExitStatus::FAILED,
                       "no history of slot " + itos(slot) + ": " + snapshot.defect);
    std::vector<std::string> texts = argumentsFor(snapshot, slot, range, kind);
    std::vector<char*> arguments;
    for (std::string& text : texts)
        arguments.push_back(text.data());
    rrd_info_t* info = rrd_graph_v(static_cast<int>(arguments.size()), arguments.data());
    std::string image;
    for (const rrd_info_t* entry = info; entry != nullptr; entry = entry->next)
        if (entry->type == RD_I_BLO && std::string(entry->key) == "image")
            image.assign(reinterpret_cast<const char*>(entry->value.u_blo.ptr),
                         entry->value.u_blo.size);
    if (info != nullptr) rrd_info_free(info);
    if (!image.empty()) return image;
    const std::string why = rrd_test_error() ? rrd_get_error() : "librrd drew nothing";
    rrd_clear_error();
    throw cFailure(eExitStatus::FAILED, "cannot draw the history: " + why);
}
