#include "cli/base/settings_file.h"

#include <algorithm>
#include <cerrno>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/system_failure.h"
#include "platform/include/text_helpers.h"

namespace {

std::string sentence(const std::string& file, int line, const std::string& what) {
    return file + " line " + itos(line) + ": " + what;
}

}  // namespace

void refuseSetting(const std::string& file, int line, const std::string& what) {
    throw cFailure(eExitStatus::FAILED, sentence(file, line, what));
}

std::vector<sSetting> parseSettings(const std::string& text, const std::string& file,
                                    std::vector<std::string>* problems) {
    std::vector<sSetting> settings;
    int number = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        const std::string line = cleanBeginEndWhiteSpace(text.substr(start, end - start));
        start = end + 1;
        ++number;
        if (line.empty() || line[0] == '#') continue;
        const size_t equals = line.find('=');
        if (equals == std::string::npos) {
            const std::string why = "'" + printableLine(line) + "' has no '='; expected KEY=value";
            if (problems == nullptr) refuseSetting(file, number, why);
            problems->push_back(sentence(file, number, why));
            continue;
        }
        settings.push_back({number, cleanBeginEndWhiteSpace(line.substr(0, equals)),
                            cleanBeginEndWhiteSpace(line.substr(equals + 1))});
    }
    return settings;
}

std::vector<sSetting> readSettings(const sPlaces& places, const std::string& file,
                                   std::vector<std::string>* problems) {
    const std::string path = places.at(file);
    std::string text;
    if (!readFile2String(path, text, SETTINGS_FILE_MAX + 1)) {
        if (errno == ENOENT) return {};
        throw systemFailure("read " + path, errno);
    }
    if (text.size() > SETTINGS_FILE_MAX)
        throw cFailure(eExitStatus::FAILED, path + " is longer than 16 kB; expected a few lines");
    return parseSettings(text, file, problems);
}
