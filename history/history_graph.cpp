#include "history/history_graph.h"

#include <rrd.h>

#include <cmath>
#include <vector>

#include "cli/base/failure.h"
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
                                     "Slot " + itos(slot),
                                     "--vertical-label",
                                     "dBm",
                                     "--alt-autoscale"};
    const std::string file = "/proc/self/fd/" + itos(snapshot.stores[0]->descriptor());
    list.push_back("DEF:connected=" + file + ":connected:AVERAGE");
    list.push_back("CDEF:out=connected,1,LT,INF,UNKN,IF");
    list.push_back("AREA:out#e8a0a0:no connection");
    list.push_back("CDEF:outbelow=connected,1,LT,NEGINF,UNKN,IF");
    list.push_back("AREA:outbelow#e8a0a0");
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
