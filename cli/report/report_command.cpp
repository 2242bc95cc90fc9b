#include "cli/report/report_command.h"

#include <sys/utsname.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <ostream>
#include <sstream>

#include "cli/base/config_place.h"
#include "cli/base/draft_file.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_name.h"
#include "cli/base/slot_option.h"
#include "cli/doctor/slot_setup.h"
#include "cli/record/recording_files.h"
#include "cli/report/report_text.h"
#include "cli/report/tar_archive.h"
#include "cli/status/status_file.h"
#include "config/config_keys.h"
#include "config/plain_config.h"
#include "platform/include/text_helpers.h"
#include "platform/include/text_lookup_table.h"
#include "published/installation.h"
#include "published/paths.h"

namespace {

constexpr int JOURNAL_LINES = 5000;
constexpr size_t LOG_BYTES_MAX = 4 * 1024 * 1024;

struct sReportOptions {
    std::string file;
    int slot = SLOT_NOT_GIVEN;
    bool withIdentities = false;
};

struct sMember {
    std::string name;
    std::string content;
};

std::string fileText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

// Only fixed words and a number go into the command.
std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    if (!pipe) return output;
    std::array<char, 4096> part{};
    for (size_t count; output.size() < LOG_BYTES_MAX &&
                       (count = fread(part.data(), 1, part.size(), pipe.get())) > 0;)
        output.append(part.data(), count);
    return output;
}

// ---- what is in it

void learnSecrets(const sPlaces& places, int slot, cReportText& text) {
    for (const std::string& path :
         {pinFilePath(slot), pinRequestPath(slot), pinChangePath(slot), pukFilePath(slot)}) {
        std::istringstream words(fileText(places.at(path)));
        for (std::string word; words >> word;)
            text.addSecret(word);
    }
    const cTextLookupTable table(configPlace(places, slot), '=');
    const auto valueOf = [&](const char* key) {
        return table.DoesEntryExist(key) ? table.GetEntryByLabel(key)[1] : std::string();
    };
    text.addSecret(valueOf(CM_PASSWORD));
    // Many networks have the APN's name for the user too; that is no secret.
    if (valueOf(CM_USERNAME) != valueOf(CM_APN)) text.addSecret(valueOf(CM_USERNAME));
}

void learnIdentities(const sPlaces& places, int slot, cReportText& text) {
    const sStatusRecord record = readStatusFile(places, slot).record;
    for (const sStatusKey& key : IDENTITY_STATUS_KEYS)
        text.addIdentity(record.text(key));
}

std::string configText(const sPlaces& places, int slot) {
    const std::string path = configPlace(places, slot);
    std::string text = "# " + path + ", without CM_USERNAME and CM_PASSWORD\n";
    for (const auto& [key, value] : plainConfigValues(path))
        text += key + "=" + value + "\n";
    return text;
}

std::string journalText(const sPlaces& places, int slot) {
    const std::string journal =
        outputOf("journalctl -q --no-pager -o short-precise -n " + std::to_string(JOURNAL_LINES) +
                 " -u " + serviceName(slot) + " 2>/dev/null");
    if (!journal.empty()) return journal;
    const std::string log = fileText(places.at(DAEMON_LOG_FILE));
    return log.size() > LOG_BYTES_MAX ? log.substr(log.size() - LOG_BYTES_MAX) : log;
}

std::string versionsText(const sPlaces& places) {
    utsname host{};
    uname(&host);
    return std::string("cellslot ") + CELLSLOT_VERSION + "\n" + host.sysname + " " + host.release +
           " " + host.version + " " + host.machine + "\n" + fileText(places.at("/etc/os-release"));
}

// The output of a subcommand, errors included.
std::string commandText(sCliContext& context, tCommandRunner runner,
                        std::vector<const char*> arguments) {
    std::ostringstream out;
    sCliContext inner{context.places, context.in, out};
    arguments.insert(arguments.begin(), "cellslot");
    runner(static_cast<int>(arguments.size()), arguments.data(), inner, out);
    return out.str();
}

// Whether a recording has a header that says so.
bool keepsIdentities(const sMember& member) {
    return startsWith(member.name, "recording.") &&
           member.content.find("\"identities\":\"kept\"}\n") != std::string::npos;
}

void addRecordings(const sPlaces& places, int slot, const std::string& suffix,
                   std::vector<sMember>& members) {
    const std::string recording = joinedRecording(places, slot);
    if (!recording.empty()) members.push_back({"recording" + suffix + ".jsonl", recording});
    int number = 0;
    for (const sKeptRecording& kept : keptRecordings(places, slot))
        members.push_back({"recording" + suffix + ".exit-" + std::to_string(++number) + ".jsonl",
                           fileText(places.at(kept.path))});
}

void addSlot(sCliContext& context, tCommandRunner runner, int slot, cReportText& text,
             std::vector<sMember>& members) {
    const sPlaces& places = context.places;
    const std::string suffix = "." + std::to_string(slot);
    const std::string number = std::to_string(slot);
    const auto add = [&](const std::string& name, const std::string& content) {
        if (!content.empty()) members.push_back({name + suffix, text.hidden(content)});
    };
    // The daemon has replaced in them what must not be seen.
    addRecordings(places, slot, suffix, members);
    add("status", commandText(context, runner, {"status", "-p", number.c_str()}));
    add("status-file", fileText(places.at(statusFilePath(slot))));
    add("configuration", configText(places, slot));
    add("service-settings", fileText(places.at(serviceSettingsPath(slot))));
    add("journal", journalText(places, slot));
}

std::vector<sMember> collect(sCliContext& context, tCommandRunner runner,
                             const sReportOptions& options) {
    const std::vector<int> slots = options.slot == SLOT_NOT_GIVEN ? knownSlots(context.places)
                                                                  : std::vector<int>{options.slot};
    cReportText text(options.withIdentities);
    for (const int slot : slots) {
        learnSecrets(context.places, slot, text);
        learnIdentities(context.places, slot, text);
    }
    std::vector<sMember> members;
    members.push_back({"versions", versionsText(context.places)});
    members.push_back({"doctor", text.hidden(commandText(context, runner, {"doctor"}))});
    for (const int slot : slots)
        addSlot(context, runner, slot, text, members);
    return members;
}

void run(sCliContext& context, tCommandRunner runner, const sReportOptions& options) {
    if (geteuid() != 0)
        throw cFailure(eExitStatus::NOT_PERMITTED,
                       "other users cannot see everything; run it as root, for example with sudo");
    const std::vector<sMember> members = collect(context, runner, options);
    cTarArchive archive;
    std::string keeping;
    const time_t now = time(nullptr);
    for (const sMember& member : members) {
        context.out << "  " << member.name << ", " << member.content.size() << " bytes\n";
        archive.add("cellslot-report/" + member.name, member.content, now);
        if (keepsIdentities(member))
            keeping +=
                "but " + member.name + " keeps them: it was started with --with-identities\n";
    }
    context.out << "PIN, PUK, user name and password are not in it; identities are "
                << (options.withIdentities ? "kept\n" : "replaced\n" + keeping) << std::flush;
    replaceFile(options.file, archive.text(), 0600);
    context.out << "written to " << printableLine(options.file) << "\n";
}

}  // namespace

void addReportCommand(const cSubcommand& app, sCliContext& context, tCommandRunner runner) {
    const cSubcommand command = app.add("report", "Write one archive for a support case.");
    const auto options = std::make_shared<sReportOptions>();
    command.option("FILE", options->file, "the tar archive to write").required().fileName();
    addSlotOption(command, options->slot, "only this slot [all slots in use]");
    command.flag("--with-identities", options->withIdentities,
                 "keep identities and messages outside recordings");
    command.footer(
        "Lists what is in it, then writes it: recordings, status, configuration, doctor,\n"
        "versions, journal. PIN, PUK, user name and password are left out.\n"
        "Example:\n"
        "  cellslot report pump7.tar");
    command.action([options, &context, runner] { run(context, runner, *options); });
}
