#include "statemachine/recording_marks.h"

#include <sys/wait.h>

#include <algorithm>
#include <map>
#include <string_view>

#include "config/plain_config.h"
#include "device/recorder.h"
#include "include/options.h"
#include "include/shell.h"
#include "published/status_keys.h"
#include "recording/secrets.h"

namespace {

struct sRecordingMarksState {
    tStatusList published;  // as it was marked last
};

sRecordingMarksState g_recordingMarksState;

// They change with each writing and say nothing that a line's own time does not.
constexpr sStatusKey TIMES[] = {STATUS_STATS_LAST_UPDATE, STATUS_STATS_LAST_UPDATE_E,
                                STATUS_QMI_CALL_TIME, STATUS_QMI_CALL_FORMAT_TIME};

template <size_t count>
bool isOneOf(const sStatusKey (&keys)[count], std::string_view name) {
    return std::any_of(keys, keys + count, [&](const sStatusKey& one) { return name == one.name; });
}

// "_IMEI" -> "IMEI"; empty for a comment.
std::string_view nameOf(std::string_view suffix) {
    constexpr std::string_view SEPARATOR = STATUS_KEY_SEPARATOR;
    return suffix.substr(0, SEPARATOR.size()) == SEPARATOR ? suffix.substr(SEPARATOR.size()) : "";
}

void addValue(cRecordMark& mark, const std::string& suffix, const std::string& value) {
    const std::string name(nameOf(suffix));
    if (name.empty() || isOneOf(TIMES, name)) return;
    if (isOneOf(IDENTITY_STATUS_KEYS, name)) return mark.identity(name.c_str(), value);
    if (name != STATUS_SIM_EXTENDED_STATUS.name) return mark.text(name.c_str(), value);
    // A PIN that was never sent, because it has a wrong form, is in it too.
    std::string outcome = value;
    hidePins(outcome.data(), outcome.size());
    mark.text(name.c_str(), outcome);
}

// For the rare case that keys come or go, such as those of an active set.
void markOtherKeys(const tStatusList& list, const tStatusList& last) {
    std::map<std::string, std::string> before(last.begin(), last.end());
    cRecordMark mark("published");
    mark.beginValues("values");
    for (const auto& [suffix, value] : list) {
        const auto found = before.find(suffix);
        if (found == before.end() || found->second != value) addValue(mark, suffix, value);
        if (found != before.end()) before.erase(found);
    }
    for (const auto& [suffix, value] : before)
        if (!nameOf(suffix).empty()) mark.nothing(std::string(nameOf(suffix)).c_str());
    mark.endValues();
}

// Marks what differs from the last list, and makes it the last one.
void markChanges(const cStatusLines& lines, tStatusList& last) {
    const tStatusList& list = lines.list();
    if (lines.hasOtherKeys() || list.size() != last.size()) {
        markOtherKeys(list, last);
        last = list;
        return;
    }
    const std::vector<size_t>& places = lines.changedPlaces();
    const auto isTimeAt = [&list](size_t place) {
        return isOneOf(TIMES, nameOf(list[place].first));
    };
    if (std::all_of(places.begin(), places.end(), isTimeAt)) return;
    cRecordMark mark("published");
    mark.beginValues("values");
    for (const size_t place : places) {
        addValue(mark, list[place].first, list[place].second);
        last[place].second = list[place].second;
    }
    mark.endValues();
}

void markShellCommand(const std::string& command, int status) {
    if (!isRecording()) return;
    cRecordMark mark("host");
    mark.text("command", command);
    mark.number("result", WIFEXITED(status) ? WEXITSTATUS(status) : -1);
}

}  // namespace

void markStart() {
    if (!isRecording()) return;
    cRecordMark mark("start");
    mark.beginList("arguments");
    for (const std::string& argument :
         {std::string("-d"), g_S_options.s_device, std::string("-g"), g_S_options.s_gps_device,
          std::string("-i"), g_S_options.s_interface, std::string("-p"), g_S_options.s_port})
        mark.add(argument);
    mark.endList();
}

void markStates(const char* outer, const char* modem) {
    if (!isRecording()) return;
    cRecordMark mark("state");
    mark.text("outer", outer);
    mark.text("modem", modem);
}

void markSignal(const char* name) {
    if (!isRecording()) return;
    cRecordMark mark("signal");
    mark.text("name", name);
}

void markConfig(const std::string& configFile, const char* result) {
    if (!isRecording()) return;
    cRecordMark mark("config");
    mark.text("result", result);
    mark.beginValues("values");
    for (const auto& [key, value] : plainConfigValues(configFile))
        mark.text(key.c_str(), value);
    mark.endValues();
}

void markPublished(const cStatusLines& lines) {
    if (isRecording()) markChanges(lines, g_recordingMarksState.published);
}

void markAllPublished() {
    if (!isRecording() || g_recordingMarksState.published.empty()) return;
    cRecordMark mark("published");
    mark.beginValues("values");
    for (const auto& [suffix, value] : g_recordingMarksState.published)
        addValue(mark, suffix, value);
    mark.endValues();
}

void markExit(int status) {
    if (!isRecording()) return;
    markAllPublished();
    cRecordMark mark("exit");
    mark.number("status", status);
}

void markShellCommands(bool areMarked) {
    setShellObserver(areMarked ? markShellCommand : nullptr);
}

void resetRecordingMarks() {
    g_recordingMarksState = {};
}
