#include "statemachine/recording_marks.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string_view>

#include "config/plain_config.h"
#include "device/recorder.h"
#include "include/options.h"
#include "include/shell.h"
#include "published/status_keys.h"
#include "recording/secrets.h"

namespace {

// What of a line of the status is marked.
enum class eMarked : uint8_t { NOTHING, VALUE, IDENTITY, OUTCOME };

struct sRecordingMarksState {
    tStatusList published;       // as it was marked last
    std::vector<eMarked> kinds;  // of its lines
};

sRecordingMarksState g_recordingMarksState;

// They change with each writing and say nothing that a line's own time does not.
constexpr sStatusKey TIMES[] = {STATUS_STATS_LAST_UPDATE, STATUS_STATS_LAST_UPDATE_E,
                                STATUS_QMI_CALL_TIME, STATUS_QMI_CALL_FORMAT_TIME};

template <size_t count>
bool isOneOf(const sStatusKey (&keys)[count], std::string_view name) {
    return std::any_of(keys, keys + count, [&](const sStatusKey& one) { return name == one.name; });
}

constexpr std::string_view SEPARATOR = STATUS_KEY_SEPARATOR;

// "_IMEI" -> "IMEI"; empty for a comment.
std::string_view nameOf(std::string_view suffix) {
    static_assert(SEPARATOR.size() == 1);
    return !suffix.empty() && suffix[0] == SEPARATOR[0] ? suffix.substr(1) : "";
}

eMarked kindOf(std::string_view suffix) {
    const std::string_view name = nameOf(suffix);
    if (name.empty() || isOneOf(TIMES, name)) return eMarked::NOTHING;
    if (isOneOf(IDENTITY_STATUS_KEYS, name)) return eMarked::IDENTITY;
    return name == STATUS_SIM_EXTENDED_STATUS.name ? eMarked::OUTCOME : eMarked::VALUE;
}

// A PIN that was never sent, because it has a wrong form, is in it too.
std::string withoutPins(std::string outcome) {
    hidePins(outcome.data(), outcome.size());
    return outcome;
}

void addValue(cRecordMark& mark, eMarked kind, std::string_view suffix, const std::string& value) {
    const std::string_view name = nameOf(suffix);
    switch (kind) {
        case eMarked::NOTHING:
            return;
        case eMarked::VALUE:
            return mark.text(name, value);
        case eMarked::IDENTITY:
            return mark.identity(name, value);
        case eMarked::OUTCOME:
            return mark.text(name, withoutPins(value));
    }
}

// For the rare case that keys come or go, such as those of an active set.
void markOtherKeys(const tStatusList& list) {
    sRecordingMarksState& state = g_recordingMarksState;
    std::map<std::string, std::string> before(state.published.begin(), state.published.end());
    cRecordMark mark("published");
    mark.beginValues("values");
    for (const auto& [suffix, value] : list) {
        const auto found = before.find(suffix);
        if (found == before.end() || found->second != value)
            addValue(mark, kindOf(suffix), suffix, value);
        if (found != before.end()) before.erase(found);
    }
    for (const auto& [suffix, value] : before)
        if (!nameOf(suffix).empty()) mark.nothing(nameOf(suffix));
    mark.endValues();
    state.published = list;
    state.kinds.clear();
    for (const auto& [suffix, value] : list)
        state.kinds.push_back(kindOf(suffix));
}

// Marks what differs from the last list, and makes it the last one.
void markChanges(const cStatusLines& lines) {
    sRecordingMarksState& state = g_recordingMarksState;
    const tStatusList& list = lines.list();
    if (lines.hasOtherKeys() || list.size() != state.published.size()) return markOtherKeys(list);
    const std::vector<size_t>& places = lines.changedPlaces();
    const auto isLeftOut = [](size_t place) { return state.kinds[place] == eMarked::NOTHING; };
    if (std::all_of(places.begin(), places.end(), isLeftOut)) return;
    cRecordMark mark("published");
    mark.beginValues("values");
    for (const size_t place : places) {
        const auto& [suffix, value] = list[place];
        if (state.kinds[place] == eMarked::NOTHING) continue;
        addValue(mark, state.kinds[place], suffix, value);
        state.published[place].second = value;
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
        mark.text(key, value);
    mark.endValues();
}

void markPublished(const cStatusLines& lines) {
    if (isRecording()) markChanges(lines);
}

void markAllPublished() {
    const sRecordingMarksState& state = g_recordingMarksState;
    if (!isRecording() || state.published.empty()) return;
    cRecordMark mark("published");
    mark.beginValues("values");
    for (size_t i = 0; i < state.published.size(); ++i)
        addValue(mark, state.kinds[i], state.published[i].first, state.published[i].second);
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
