#include "statemachine/status_files.h"

#include <ctime>
#include <set>
#include <utility>

#include "include/debug.h"
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

void storeList(const tStatusList& list, const std::string& prefix) {
    std::set<std::string> failing;
    std::string key;
    skvs_batch_begin();
    for (const auto& [suffix, value] : list) {
        if (isComment(suffix)) continue;
        key.assign(prefix).append(suffix);
        if (skvs_set(key.c_str(), value.c_str()) != 0) failing.insert(key);
    }
    if (skvs_batch_end() != 0) failing = missingKeys(list, prefix);
    reportFailing(failing);
}

void writeList(const tStatusList& list, const std::string& path, const std::string& prefix) {
    cFileVector file(path);
    std::string line;
    for (const auto& [suffix, value] : list) {
        if (!isComment(suffix))
            line.assign(prefix).append(suffix).append("=").append(value);
        else
            line = suffix;
        file.AppendLine(line);
    }
    file.Write();
}

void writeLine(const std::string& path, const std::string& line) {
    cFileVector file(path);
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
    const std::string& slot = g_S_options.s_port;
    tStatusList list =
        buildStatusList(device, config, time(nullptr), g_Cp_connectedTimer->GetElapsedTime());
    // A text of the modem must not forge a line.
    for (auto& [suffix, value] : list)
        value = blankControlCharacters(value);
    markPublished(list);

    const std::string slotPrefix = statusKeyStart(slot);
    storeList(list, slotPrefix);
    writeList(list, statusFilePath(slot), slotPrefix);
    if (hasPlainStatusFile(slot)) writeList(list, g_s_cardstats_path, PLAIN_STATUS_KEY_START);
    writeLine(g_s_serialno_path, device.modem.s_serial_number);
    writeLine(g_s_mdn_path, device.modem.s_own_number);
}

void updateStatusFile(const std::string& path, const std::string& line, bool& append) {
    cFileVector file(path);
    file.AppendLine(line);
    if (append)
        file.WriteAppend();
    else
        file.Write();
}
