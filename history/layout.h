#ifndef HISTORY_LAYOUT_H
#define HISTORY_LAYOUT_H

#include <cstddef>
#include <string>
#include <vector>

#include "observed/source.h"

// The RRD files of a slot. A file never grows, and all of them together have at most 2 MiB. An RRD
// holds a double for each source in each row of each archive: with all sources at every resolution
// and with least and greatest everywhere that would be 5.6 MB. So least and greatest are kept by
// day; within eight days they come from rows of ten seconds and of a minute. Temperature,
// registration and messages change slowly and have a file with longer steps.

enum class eConsolidation { AVERAGE, MIN, MAX };

struct sArchive {
    eConsolidation function;
    unsigned stepS;
    unsigned rows;
    unsigned lengthS() const { return stepS * rows; }
};

struct sStore {
    const char* suffix;
    unsigned stepS;
    std::vector<eSource> sources;
    std::vector<sArchive> archives;  // the finest first
};

extern const std::vector<sStore> STORES;
constexpr size_t STORES_BYTES_MAX = 2 * 1024 * 1024;

std::string storeName(const sStore& store, int slot);
// The store of a source, and the source's place in it.
const sStore& storeOf(eSource source);
size_t placeOf(const sStore& store, eSource source);

const char* consolidationName(eConsolidation function);

#endif
