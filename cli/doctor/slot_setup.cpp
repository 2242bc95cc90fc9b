#include "cli/doctor/slot_setup.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "cli/base/daemon_process.h"
#include "cli/status/slot_report.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"
#include "platform/include/text_lookup_table.h"
#include "published/installation.h"

namespace {

using tWords = std::vector<std::string>;

// Words that end in NUL, as in /proc for command lines and environments.
tWords wordsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    tWords words;
    for (const std::string& word : tokenstr(text, '\0', eEmptyTokens::KEEP))
        words.push_back(word);
    return words;
}

std::string processFile(const sPlaces& places, int pid, const char* name) {
    return places.at("/proc/" + std::to_string(pid) + "/" + name);
}

// The last value of an option in any of the forms "-d X", "-dX", "--device X", "--device=X".
std::string optionValue(const tWords& words, const std::string& brief, const std::string& full) {
    std::string value;
    for (size_t i = 1; i < words.size(); ++i) {
        const std::string& word = words[i];
        if ((word == brief || word == full) && i + 1 < words.size())
            value = words[++i];
        else if (startsWith(word, full + "="))
            value = word.substr(full.size() + 1);
        else if (startsWith(word, brief) && word.size() > brief.size() && !startsWith(word, "--"))
            value = word.substr(brief.size());
    }
    return value;
}

std::string environmentValue(const tWords& words, const std::string& name) {
    for (const std::string& word : words)
        if (startsWith(word, name + "=")) return word.substr(name.size() + 1);
    return "";
}

void fromProcess(const sPlaces& places, sSlotSetup& setup) {
    const tWords words = wordsOf(processFile(places, setup.pid, "cmdline"));
    setup.device = optionValue(words, "-d", "--device");
    setup.gpsDevice = optionValue(words, "-g", "--gps");
    setup.interface = optionValue(words, "-i", "--interface");
    setup.path = environmentValue(wordsOf(processFile(places, setup.pid, "environ")), "PATH");
}

std::string withoutQuotes(const std::string& text) {
    return cleanCharsFromString(cleanBeginEndWhiteSpace(text), "\"'");
}

void fromSettings(const sPlaces& places, sSlotSetup& setup) {
    const cTextLookupTable table(places.at(serviceSettingsPath(setup.slot)), '=');
    for (const auto& [key, value] : table.entries()) {
        const std::string text = withoutQuotes(value);
        if (key == "PATH")
            setup.path = text;
        else if (key == "DEVICE")
            setup.device = text;
        else if (key == "GPS_DEVICE")
            setup.gpsDevice = text;
        else if (key == "INTERFACE")
            setup.interface = text;
    }
}

// The installed service has the folder of the host tools first on its PATH.
std::string servicePath(const sPlaces& places) {
    const char* ownPath = getenv("PATH");
    const std::string path = ownPath == nullptr ? "" : ownPath;
    return places.have(HOST_TOOLS_FOLDER) ? std::string(HOST_TOOLS_FOLDER) + ":" + path : path;
}

bool isServiceEnabled(const sPlaces& places, int slot) {
    const std::string link = places.at(enabledServicePath(slot));
    struct stat info {};
    return lstat(link.c_str(), &info) == 0;
}

// The package installs settings for every slot, so settings alone do not count.
bool isServicePrepared(const sPlaces& places, int slot) {
    if (isServiceEnabled(places, slot)) return true;
    sSlotSetup setup;
    setup.slot = slot;
    fromSettings(places, setup);
    return !setup.device.empty() && places.have(setup.device);
}

}  // namespace

sSlotSetup findSlotSetup(const sPlaces& places, int slot) {
    sSlotSetup setup;
    setup.slot = slot;
    setup.pid = runningDaemon(places, slot);
    if (setup.pid != 0)
        fromProcess(places, setup);
    else
        fromSettings(places, setup);
    if (setup.path.empty()) setup.path = servicePath(places);
    return setup;
}

std::vector<int> knownSlots(const sPlaces& places) {
    std::vector<int> slots = findSlots(places);
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot) {
        const bool isFound = std::find(slots.begin(), slots.end(), slot) != slots.end();
        if (!isFound && isServicePrepared(places, slot)) slots.push_back(slot);
    }
    std::sort(slots.begin(), slots.end());
    return slots.empty() ? std::vector<int>{FIRST_SLOT} : slots;
}

std::vector<int> daemonsOf(const sPlaces& places, int slot) {
    std::vector<int> found;
    for (const int pid : allPids(places)) {
        if (!isDaemon(places, pid)) continue;
        const tWords words = wordsOf(processFile(places, pid, "cmdline"));
        if (optionValue(words, "-p", "--port") == std::to_string(slot)) found.push_back(pid);
    }
    return found;
}

std::vector<int> allPids(const sPlaces& places) {
    std::vector<std::string> names;
    readFilesInDir(places.at("/proc"), names);
    std::vector<int> pids;
    for (const std::string& name : names)
        if (isStringNumeric(name)) pids.push_back(textToInt(name));
    std::sort(pids.begin(), pids.end());
    return pids;
}

std::string processName(const sPlaces& places, int pid) {
    std::ifstream file(processFile(places, pid, "comm"));
    std::string name;
    std::getline(file, name);
    return blankControlCharacters(name);
}

std::string findOnPath(const sPlaces& places, const std::string& path, const std::string& tool) {
    for (const std::string& folder : tokenstr(path, ':', eEmptyTokens::DROP)) {
        std::string candidate = places.at(folder + "/" + tool);
        struct stat info {};
        const bool isFile = stat(candidate.c_str(), &info) == 0 && S_ISREG(info.st_mode);
        if (isFile && (info.st_mode & 0111) != 0) return candidate;
    }
    return "";
}
