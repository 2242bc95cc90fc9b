#include "tests/replay/published_marks.h"

#include <map>

#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"

namespace {

using le910sim::sRecordedEvent;

constexpr const char* KEY_START = "CELLMODEM1_";

using tValues = std::map<std::string, std::string>;

bool asksToEnd(const nlohmann::json& mark) {
    const std::string name = mark.value("name", "");
    return mark.at("mark") == "signal" &&
           (name == "SIGTERM" || name == "SIGINT" || name == "SIGHUP");
}

// A value of null: the key is no longer published.
void apply(const nlohmann::json& values, tValues& published) {
    for (const auto& item : values.items()) {
        if (item.value().is_null())
            published.erase(item.key());
        else
            published[item.key()] = item.value().get<std::string>();
    }
}

tValues recordedValues(const le910sim::sRecording& recording) {
    tValues values;
    for (const sRecordedEvent& event : recording.events) {
        if (event.kind != le910sim::eRECORDED_MARK) continue;
        if (asksToEnd(event.mark)) break;
        if (event.mark.at("mark") == "start") values.clear();
        if (event.mark.at("mark") == "published" && event.mark.contains("values"))
            apply(event.mark["values"], values);
    }
    return values;
}

tValues statusValues(const std::string& published) {
    tValues values;
    for (const std::string& line : tokenstr(published, '\n', eEmptyTokens::DROP)) {
        const size_t equals = line.find('=');
        if (!startsWith(line, KEY_START) || equals == std::string::npos) continue;
        const size_t start = std::string(KEY_START).size();
        values[line.substr(start, equals - start)] = line.substr(equals + 1);
    }
    return values;
}

// PINs in the files that a made recording gives to the daemon.
std::vector<std::string> secretsOf(const le910sim::sRecording& recording) {
    constexpr size_t SECRET_MIN = 4;
    std::vector<std::string> secrets;
    for (const sRecordedEvent& event : recording.events) {
        if (event.kind != le910sim::eRECORDED_MARK || event.mark.at("mark") != "file") continue;
        const std::string text = cleanWhiteSpace(event.mark.value("text", ""));
        if (isStringNumeric(text) && text.size() >= SECRET_MIN) secrets.push_back(text);
    }
    return secrets;
}

// As the recorder hides them.
std::string withoutSecrets(std::string text, const std::vector<std::string>& secrets) {
    for (const std::string& secret : secrets)
        for (size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at))
            text.replace(at, secret.size(), secret.size(), '0');
    return text;
}

std::string shown(const tValues& values, const std::string& key) {
    const auto found = values.find(key);
    return found == values.end() ? "nothing" : "'" + found->second + "'";
}

}  // namespace

std::vector<std::string> differencesFromRecorded(const le910sim::sRecording& recording,
                                                 const std::string& published) {
    const tValues recorded = recordedValues(recording);
    const tValues replayed = statusValues(withoutSecrets(published, secretsOf(recording)));
    tValues keys = recorded;
    keys.insert(replayed.begin(), replayed.end());
    std::vector<std::string> differences;
    for (const auto& [key, value] : keys)
        if (shown(recorded, key) != shown(replayed, key))
            differences.push_back(key + ": recorded " + shown(recorded, key) + ", replayed " +
                                  shown(replayed, key));
    return differences;
}
