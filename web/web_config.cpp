#include "web/web_config.h"

#include <cerrno>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/system_failure.h"
#include "platform/include/text_helpers.h"
#include "web/host_check.h"

namespace {

constexpr size_t FILE_MAX = 16 * 1024;
constexpr size_t HOSTS_MAX = 32;

[[noreturn]] void refuse(int line, const std::string& what) {
    throw cFailure(eExitStatus::FAILED,
                   std::string(WEB_CONFIG_FILE) + " line " + itos(line) + ": " + what);
}

void setHosts(const std::string& value, int line, sWebConfig& config) {
    for (size_t start = 0; start < value.size();) {
        const size_t end = std::min(value.find_first_of(" ,", start), value.size());
        const std::string name = stringLower(value.substr(start, end - start));
        start = end + 1;
        if (name.empty()) continue;
        if (!isHostName(name))
            refuse(line, "'" + printableLine(name) +
                             "' is not a host name; expected names without port, as "
                             "gateway.example.com");
        if (config.hosts.size() == HOSTS_MAX) refuse(line, "more than 32 names");
        config.hosts.push_back(name);
    }
}

void setMessages(const std::string& value, int line, sWebConfig& config) {
    if (value != "yes" && value != "no")
        refuse(line, "MESSAGES is '" + printableLine(value) + "'; expected yes or no");
    config.showsMessages = value == "yes";
}

struct sKey {
    const char* name;
    void (*set)(const std::string& value, int line, sWebConfig& config);
};

const sKey KEYS[] = {
    {"HOSTS", setHosts},
    {"MESSAGES", setMessages},
};

void readLine(const std::string& line, int number, sWebConfig& config) {
    if (line.empty() || line[0] == '#') return;
    const size_t equals = line.find('=');
    if (equals == std::string::npos)
        refuse(number, "'" + printableLine(line) + "' has no '='; expected KEY=value");
    const std::string name = cleanBeginEndWhiteSpace(line.substr(0, equals));
    for (const sKey& key : KEYS)
        if (name == key.name)
            return key.set(cleanBeginEndWhiteSpace(line.substr(equals + 1)), number, config);
    refuse(number, "unknown key '" + printableLine(name) + "'; known are HOSTS and MESSAGES");
}

}  // namespace

sWebConfig parseWebConfig(const std::string& text) {
    sWebConfig config;
    int number = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find('\n', start), text.size());
        readLine(cleanBeginEndWhiteSpace(text.substr(start, end - start)), ++number, config);
        start = end + 1;
    }
    return config;
}

sWebConfig readWebConfig(const sPlaces& places) {
    const std::string path = places.at(WEB_CONFIG_FILE);
    std::string text;
    if (!readFile2String(path, text, FILE_MAX + 1)) {
        if (errno == ENOENT) return {};
        throw systemFailure("read " + path, errno);
    }
    if (text.size() > FILE_MAX)
        throw cFailure(eExitStatus::FAILED, path + " is longer than 16 kB; expected a few lines");
    return parseWebConfig(text);
}
