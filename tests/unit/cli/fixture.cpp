#include "tests/unit/cli/fixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "cli/base/daemon_process.h"
#include "cli/cellslot.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr int FIRST_PID = 700;

void writeWithFolders(const std::string& path, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    writeFile(path, text);
}

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

}  // namespace

cStatusHost::cStatusHost() {
    writeWithFolders(m_folder / "var/run/poststart", "");
    std::filesystem::create_directories(m_folder / "var/log");
}

void cStatusHost::startDaemon(int slot) {
    const std::string pid = itos(FIRST_PID + slot);
    writeWithFolders(m_folder / ("proc/" + pid + "/cmdline"),
                     std::string("/usr/sbin/cellslotd\0-p\0", 23));
    writeWithFolders(m_folder.path() + pidFilePath(slot), pid);
}

void cStatusHost::endDaemon(int slot) {
    std::filesystem::remove_all(m_folder / ("proc/" + itos(FIRST_PID + slot)));
}

void cStatusHost::configure(int slot, const std::string& text) {
    writeWithFolders(m_folder / ("etc/vuk/cellular" + itos(slot) + ".conf"), text);
}

void cStatusHost::writeStatus(int slot, const std::string& text) {
    writeWithFolders(m_folder / ("var/log/wireless.cardstats." + itos(slot)), text);
}

void cStatusHost::addSlot(int slot, const std::string& recording) {
    startDaemon(slot);
    configure(slot, "CM_ENABLE_INTERFACE=yes\n");
    writeStatus(slot, recordedStatus(recording, slot));
    writeWithFolders(m_folder / ("dev/ttyCELL" + itos(slot)), "");
}

sSlotReport cStatusHost::report(int slot, long long ageS) const {
    sSlotReport report = reportSlot(places(), slot, {RECORDED_S + ageS, LONG_UP_S});
    report.addresses = {"10.64.1.8", "2001:db8::8"};
    return report;
}

sStatusRun cStatusHost::run(const std::vector<std::string>& arguments) const {
    std::vector<const char*> words = {"cellslot"};
    for (const std::string& argument : arguments)
        words.push_back(argument.c_str());
    std::istringstream in;
    std::ostringstream out;
    std::ostringstream err;
    sCliContext context{places(), in, out};
    const eExitStatus status =
        runCellslot(static_cast<int>(words.size()), words.data(), context, err);
    return {status, out.str(), err.str()};
}

std::string recordedStatus(const std::string& recording, int slot) {
    std::string text = readFile(std::string(STATUS_DATA) + "/" + recording + ".status");
    EXPECT_FALSE(text.empty()) << recording;
    replaceAll(text, "CELLMODEM1_", "CELLMODEM" + itos(slot) + "_");
    replaceAll(text, "ttyCELL1", "ttyCELL" + itos(slot));
    return withValue(text, "SLED_SLOT", itos(slot));
}

std::string withValue(const std::string& status, const std::string& key, const std::string& value) {
    std::istringstream lines(status);
    std::string changed;
    bool found = false;
    for (std::string line; std::getline(lines, line);) {
        const size_t equals = line.find("_" + key + "=");
        if (startsWith(line, "CELLMODEM") && equals == std::string("CELLMODEM1").size()) {
            line = line.substr(0, line.find('=') + 1) + value;
            found = true;
        }
        changed += line + "\n";
    }
    EXPECT_TRUE(found) << key;
    return changed;
}

std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}
