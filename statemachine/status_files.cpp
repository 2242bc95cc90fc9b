#include "statemachine/status_files.h"

#include <algorithm>
#include <ctime>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"
#include "include/repeated_notices.h"
#include "include/utilities.h"
#include "platform/include/file_vector.h"
#include "platform/include/key_value_store.h"
#include "published/paths.h"
#include "published/status_keys.h"
#include "statemachine/recording_marks.h"
#include "statemachine/status_keys.h"
#include "statemachine/timers.h"

const std::string g_s_cardstats_path = PLAIN_STATUS_FILE;
const std::string g_s_serialno_path = SERIAL_NUMBER_FILE;
const std::string g_s_mdn_path = OWN_NUMBER_FILE;

namespace {

bool isComment(const std::string& suffix) {
    return suffix.find('#') != std::string::npos;
}

// A file with the lines of the status. Its text is kept, and only changed lines are made again.
class cStatusFile {
  public:
    cStatusFile(const std::string& path, std::string prefix)
        : m_file(path), m_prefix(std::move(prefix)) {}

    void write(const cStatusLines& lines);

  private:
    void makeText(const tStatusList& list);
    void replaceLine(size_t place, const tStatusList::value_type& line);
    const std::string& textOf(const tStatusList::value_type& line);

    cFileVector m_file;
    std::string m_prefix;
    std::string m_text;
    std::vector<size_t> m_ends;  // of the lines in the text
    std::string m_line;          // a member only to keep its memory
};

void cStatusFile::write(const cStatusLines& lines) {
    const tStatusList& list = lines.list();
    if (lines.hasOtherKeys()) {
        makeText(list);
    } else {
        for (const size_t place : lines.changedPlaces())
            replaceLine(place, list[place]);
    }
    m_file.clear();
    m_file.AppendLine(m_text, false);
    m_file.Write();
}

void cStatusFile::makeText(const tStatusList& list) {
    m_text.clear();
    m_ends.clear();
    for (const auto& line : list) {
        m_text += textOf(line);
        m_ends.push_back(m_text.size());
    }
}

void cStatusFile::replaceLine(size_t place, const tStatusList::value_type& line) {
    const size_t begin = place == 0 ? 0 : m_ends[place - 1];
    const size_t oldSize = m_ends[place] - begin;
    const std::string& text = textOf(line);
    m_text.replace(begin, oldSize, text);
    if (text.size() == oldSize) return;
    for (size_t i = place; i < m_ends.size(); ++i)
        m_ends[i] = m_ends[i] - oldSize + text.size();
}

const std::string& cStatusFile::textOf(const tStatusList::value_type& line) {
    const auto& [suffix, value] = line;
    if (isComment(suffix)) return m_line.assign(suffix).append("\n");
    return m_line.assign(m_prefix).append(suffix).append("=").append(value).append("\n");
}

// What the daemon publishes for a slot.
struct sPublishedStatus {
    explicit sPublishedStatus(const std::string& port)
        : slot(port),
          slotFile(statusFilePath(port), statusKeyStart(port)),
          plainFile(g_s_cardstats_path, PLAIN_STATUS_KEY_START) {}

    std::string slot;
    cStatusLines lines;
    cStatusFile slotFile;
    cStatusFile plainFile;
    cFileVector serialNumberFile{g_s_serialno_path};
    cFileVector ownNumberFile{g_s_mdn_path};
    std::string key;        // a member only to keep its memory
    bool isStored = false;  // the last write stored every key
};

struct sStatusFilesState {
    std::unique_ptr<sPublishedStatus> published;
};

sStatusFilesState g_statusFilesState;

sPublishedStatus& publishedStatus(const std::string& slot) {
    std::unique_ptr<sPublishedStatus>& published = g_statusFilesState.published;
    if (published == nullptr || published->slot != slot)
        published = std::make_unique<sPublishedStatus>(slot);
    return *published;
}

bool isStored(const std::string& key, const std::string& value) {
    std::string stored(value.size() + 1, '\0');
    const int length = skvs_get(key.c_str(), stored.data(), stored.size());
    return length == static_cast<int>(value.size()) && stored.compare(0, value.size(), value) == 0;
}

// Reports the keys that a failed batch could not store. If the store takes none of them, that is
// one report, not a hundred.
std::set<std::string> missingKeys(const tStatusList& list, const std::string& prefix) {
    std::set<std::string> missing;
    bool isAnyStored = false;
    for (const auto& [suffix, value] : list) {
        if (isComment(suffix)) continue;
        if (isStored(prefix + suffix, value))
            isAnyStored = true;
        else
            missing.insert(prefix + suffix);
    }
    if (isAnyStored) return missing;
    return {prefix + STATUS_KEY_SEPARATOR + "* (every key)"};
}

void reportFailing(const std::set<std::string>& failing) {
    for (const std::string& key : failing)
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Error writing SKVS %s", "doWriteOutStatusFiles",
              key.c_str());
}

// Stores the changed keys, or all of them if others may have changed the store, or if some could
// not be stored.
void store(sPublishedStatus& status) {
    const tStatusList& list = status.lines.list();
    const std::string prefix = statusKeyStart(status.slot);
    const bool hasTheOthers = skvs_untouched() && status.isStored;
    std::set<std::string> failing;
    const auto storeLine = [&](const tStatusList::value_type& line) {
        const auto& [suffix, value] = line;
        if (isComment(suffix)) return;
        status.key.assign(prefix).append(suffix);
        if (skvs_set(status.key.c_str(), value.c_str()) != 0) failing.insert(status.key);
    };
    skvs_batch_begin();
    if (hasTheOthers) {
        for (const size_t place : status.lines.changedPlaces())
            storeLine(list[place]);
    } else {
        std::for_each(list.begin(), list.end(), storeLine);
    }
    if (skvs_batch_end() != 0) failing = missingKeys(list, prefix);
    status.isStored = failing.empty();
    reportFailing(failing);
}

void writeLine(cFileVector& file, const std::string& line) {
    file.clear();
    file.AppendLine(line);
    file.Write();
}

}  // namespace

void writeOutStatusFiles(const sDeviceInfo& device, const sConfigFileOpts& config, bool force) {
    if (!g_Cp_cardstatsTimer->IsTimerDone() && !force) return;
    const cRepeatedRun run(eWORK_STATUS);
    doWriteOutStatusFiles(device, config);
    g_Cp_cardstatsTimer->Start();
}

void doWriteOutStatusFiles(const sDeviceInfo& device, const sConfigFileOpts& config) {
    traceEntry(eLOG_STATUS, __func__);
    sPublishedStatus& status = publishedStatus(g_S_options.s_port);
    updateStatusLines(status.lines, device, config, time(nullptr),
                      g_Cp_connectedTimer->GetElapsedTime());
    markPublished(status.lines);

    store(status);
    status.slotFile.write(status.lines);
    if (hasPlainStatusFile(status.slot)) status.plainFile.write(status.lines);
    writeLine(status.serialNumberFile, device.modem.s_serial_number);
    writeLine(status.ownNumberFile, device.modem.s_own_number);
}

void updateStatusFile(const std::string& path, const std::string& line, bool& append) {
    cFileVector file(path);
    file.AppendLine(line);
    if (append)
        file.WriteAppend();
    else
        file.Write();
}

void resetStatusFilesState() {
    g_statusFilesState = {};
}
