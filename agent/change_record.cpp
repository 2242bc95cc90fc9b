#include "agent/change_record.h"

#include <unistd.h>

#include <cerrno>
#include <nlohmann/json.hpp>

#include "cli/base/draft_file.h"
#include "cli/base/system_failure.h"
#include "include/flush.h"
#include "platform/files/make_folder.h"
#include "platform/include/text_helpers.h"

namespace {

using tJson = nlohmann::json;

constexpr size_t RECORD_MAX = 16 * 1024;
constexpr mode_t FOLDER_MODE = 0755;
constexpr mode_t RECORD_MODE = 0644;

// The unit that ends a change begins when this one is there.
constexpr const char* PENDING_NAME = "/pending";
constexpr const char* OUTCOME_NAME = "/outcome";
constexpr const char* CONFIRMED_NAME = "/confirmed";

constexpr const char* ENDS[] = {"confirmed", "rolled_back", "new_file_stays"};
constexpr const char* PHASES[] = {"prepared", "applied", "taken", "reverting"};

std::string pathOf(const sPlaces& places, const char* name) {
    return places.at(CHANGE_FOLDER) + name;
}

void write(const sPlaces& places, const char* name, const tJson& object) {
    makeFolder(places.at(CHANGE_FOLDER), FOLDER_MODE);
    replaceFile(pathOf(places, name),
                object.dump(-1, ' ', false, tJson::error_handler_t::replace) + "\n", RECORD_MODE);
}

// Nothing if there is no file; a discarded value if it is damaged.
std::optional<tJson> read(const sPlaces& places, const char* name) {
    std::string text;
    if (!readFile2StringNoFollow(pathOf(places, name), text, RECORD_MAX)) return std::nullopt;
    return tJson::parse(text, nullptr, false);
}

sChangeRecord recordOf(const tJson& json) {
    sChangeRecord record;
    record.id = json.at("id").get<std::string>();
    record.slot = json.at("slot").get<int>();
    record.path = json.at("path").get<std::string>();
    record.confirmS = json.at("confirm_seconds").get<int>();
    record.wasConnected = json.at("was_connected").get<bool>();
    record.boot = json.at("boot").get<std::string>();
    record.sinceS = json.at("since").get<long long>();
    record.boots = json.at("boots").get<int>();
    record.takenS = json.at("taken_since").get<long long>();
    record.why = json.at("why").get<std::string>();
    record.newFile = json.at("new_file").get<uint64_t>();
    record.oldFile = json.at("old_file").get<uint64_t>();
    // One that nobody knows is one that has to end.
    record.phase = ePhase::REVERTING;
    for (int i = 0; i < 4; ++i)
        if (json.at("phase") == PHASES[i]) record.phase = static_cast<ePhase>(i);
    return record;
}

}  // namespace

std::string newFilePath(const std::string& path) {
    return path + ".agent-new";
}

std::string oldFilePath(const std::string& path) {
    return path + ".agent-old";
}

std::optional<sChangeRecord> readChange(const sPlaces& places) {
    const std::optional<tJson> json = read(places, PENDING_NAME);
    if (!json) return std::nullopt;
    try {
        return recordOf(*json);
    } catch (const tJson::exception&) {
        return sChangeRecord{};
    }
}

std::optional<sChangeOutcome> readChangeOutcome(const sPlaces& places) {
    const std::optional<tJson> json = read(places, OUTCOME_NAME);
    if (!json) return std::nullopt;
    try {
        sChangeOutcome outcome;
        outcome.id = json->at("id").get<std::string>();
        outcome.text = json->at("text").get<std::string>();
        for (int i = 0; i < 3; ++i)
            if (json->at("end") == ENDS[i]) outcome.end = static_cast<eChangeEnd>(i);
        return outcome;
    } catch (const tJson::exception&) {
        return std::nullopt;
    }
}

std::string readConfirmation(const sPlaces& places) {
    const std::optional<tJson> json = read(places, CONFIRMED_NAME);
    return json && json->is_string() ? json->get<std::string>() : "";
}

void writeChange(const sPlaces& places, const sChangeRecord& record) {
    write(places, PENDING_NAME,
          tJson{{"id", record.id},
                {"slot", record.slot},
                {"path", record.path},
                {"confirm_seconds", record.confirmS},
                {"was_connected", record.wasConnected},
                {"phase", PHASES[static_cast<int>(record.phase)]},
                {"boot", record.boot},
                {"since", record.sinceS},
                {"boots", record.boots},
                {"taken_since", record.takenS},
                {"why", record.why},
                {"new_file", record.newFile},
                {"old_file", record.oldFile}});
}

void writeChangeOutcome(const sPlaces& places, const sChangeOutcome& outcome) {
    write(places, OUTCOME_NAME,
          tJson{{"id", outcome.id},
                {"end", ENDS[static_cast<int>(outcome.end)]},
                {"text", outcome.text}});
}

void writeConfirmation(const sPlaces& places, const std::string& id) {
    write(places, CONFIRMED_NAME, tJson(id));
}

void removeChange(const sPlaces& places) {
    const std::string path = pathOf(places, PENDING_NAME);
    if (unlink(path.c_str()) != 0 && errno != ENOENT) throw systemFailure("remove " + path, errno);
    flushFolderOf(path);
}
