#include "tests/matrix/host_tools.h"

#include <cstdio>
#include <regex>

namespace {

std::function<void()> g_powerCycle;
std::vector<std::string> g_refused;
tHostResults g_results;
std::string g_failing;  // start of the commands that fail

// The permitted forms of an address: no other text of the network may get into a command line. An
// address that the network did not assign is empty; the script accepts that.
const char* const FORMS[] = {
    R"(setup_cellint\.sh -i wwan0 --down  &>/dev/null)",
    R"(setup_cellint\.sh -i wwan0 --up ( --debug )?( --ptp )?( --defaultroute )? -m \d+)"
    R"(( --address [\d.]+ --netmask [\d.]* --gateway [\d.]*)?( --dns [\da-fA-F:.]*)*)"
    R"(( --ipv6auto )?( --ipv6only )? &>/dev/null)",
    R"(ping -c 1 -I wwan0 1\.2\.3\.4 &>/dev/null &)",
    R"(timeout -t 5 gpsdctl (add|remove) /tmp/modem-gps &>/dev/null)",
    R"re(systime\.sh --set "[\d/:, -]+" &>/dev/null)re",
    R"(sledctl 1 off &)",
    R"(ResetCellular now force -s 1 &)",
    R"(mv -f /tmp/sms/send/[\w.+-]+ /tmp/sms/send_(ok|fail)/[\w.+-]+)",
};

bool isKnownForm(const std::string& line) {
    for (const char* form : FORMS)
        if (std::regex_match(line, std::regex(form))) return true;
    return false;
}

void moveFile(const std::string& line) {
    const size_t from = line.find('/');
    const size_t blank = line.find(' ', from);
    const std::string source = line.substr(from, blank - from);
    const std::string target = line.substr(blank + 1);
    rename(source.c_str(), target.c_str());
}

// The result of the next recorded command of the same tool with the same first options.
int takeResult(const std::string& line) {
    const std::string start = line.substr(0, line.find_first_of("/\"0123456789"));
    for (auto at = g_results.begin(); at != g_results.end(); ++at) {
        if (at->first.compare(0, start.size(), start) != 0) continue;
        const int result = at->second;
        g_results.erase(at);
        return result;
    }
    return 0;
}

}  // namespace

void setHostResults(tHostResults results) {
    g_results = std::move(results);
}

void onPowerCycle(std::function<void()> action) {
    g_powerCycle = std::move(action);
}

const std::vector<std::string>& refusedCommandLines() {
    return g_refused;
}

void failHostTool(const std::string& start) {
    g_failing = start;
}

extern "C" int __wrap_system(const char* command);

// Replaces system() at link time.
extern "C" int __wrap_system(const char* command) {
    constexpr int NOT_FOUND = 127 << 8;
    constexpr unsigned STATUS_SHIFT = 8;
    const std::string line = command;
    if (!isKnownForm(line)) {
        g_refused.push_back(line);
        return NOT_FOUND;
    }
    constexpr int FAILED = 1 << 8;
    if (!g_failing.empty() && line.compare(0, g_failing.size(), g_failing) == 0) return FAILED;
    if (line.compare(0, 3, "mv ") == 0) moveFile(line);
    if (line.compare(0, 14, "ResetCellular ") == 0 && g_powerCycle) g_powerCycle();
    return takeResult(line) << STATUS_SHIFT;
}
