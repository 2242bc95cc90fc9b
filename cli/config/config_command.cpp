#include "cli/config/config_command.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <ostream>

#include "cli/base/config_place.h"
#include "cli/base/display_text.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_option.h"
#include "cli/base/system_failure.h"
#include "cli/config/config_check.h"

namespace {

constexpr size_t KEY_WIDTH = 21;
// Of what the file holds: more than any value that is taken, and no line fills the screen.
constexpr size_t SHOWN_MAX = 300;
constexpr size_t FINDINGS_MAX = 50;

struct sConfigOptions {
    std::string file;
    int slot = SLOT_NOT_GIVEN;
    bool quiet = false;
};

std::string shown(const std::string& text) {
    return cutTo(printableLine(text), SHOWN_MAX);
}

void printFindings(std::ostream& out, const std::vector<sConfigFinding>& findings) {
    const size_t count = std::min(findings.size(), FINDINGS_MAX);
    for (size_t i = 0; i < count; ++i) {
        out << "! line " << findings[i].line << ": " << shown(findings[i].what) << "\n";
        for (const std::string& detail : findings[i].details)
            out << "    " << shown(detail) << "\n";
    }
    if (findings.size() > count) out << "! and " << findings.size() - count << " more\n";
}

// Why it is in force, where that is not what the file says.
std::string origin(const sConfigKeyReport& key) {
    const std::string written = "'" + shown(key.written) + "'";
    switch (key.verdict) {
        case eConfigVerdict::TAKEN:
            return "";
        case eConfigVerdict::DEFAULT:
            return "default" + (key.reason.empty() ? "" : ": " + shown(key.reason));
        case eConfigVerdict::NOT_USED:
            return written + " is not used: " + shown(key.reason);
        case eConfigVerdict::REFUSED:
            return "instead of " + written;
    }
    return "";
}

void printKey(std::ostream& out, const sConfigKeyReport& key) {
    const std::string why = origin(key);
    out << (key.verdict == eConfigVerdict::REFUSED ? "! " : "  ") << fitTo(key.key, KEY_WIDTH)
        << (key.inForce.empty() ? "(none)" : shown(key.inForce))
        << (why.empty() ? "" : "   (" + why + ")") << "\n";
}

cFailure unreadable(const std::string& path) {
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT)
        return {eExitStatus::FAILED, "there is no " + path +
                                         "; without one the daemon starts no data connection, "
                                         "cellslot.conf(5) says what to write"};
    if (access(path.c_str(), R_OK) != 0) return systemFailure("read " + path, errno);
    return {eExitStatus::FAILED,
            path + " is no file, or longer than 128 KB: for the daemon it is missing"};
}

void check(sCliContext& context, const sConfigOptions& options) {
    const std::string path =
        options.file.empty() ? configPlace(context.places, chooseSlot(context.places, options.slot))
                             : options.file;
    const sConfigReport report = checkConfig(path);
    if (!report.readable) throw unreadable(path);
    const size_t count = report.findings.size();
    if (count == 0 && options.quiet) return;
    context.out << path << "\n";
    printFindings(context.out, report.findings);
    if (!options.quiet)
        for (const sConfigKeyReport& key : report.keys)
            printKey(context.out, key);
    if (count == 0) {
        context.out << "ok: nothing to correct\n";
        return;
    }
    context.out << count << (count == 1 ? " finding\n" : " findings\n");
    context.exitStatus = eExitStatus::FAILED;
}

}  // namespace

void addConfigCommand(CLI::App& app, sCliContext& context) {
    CLI::App* config = app.add_subcommand("config", "Check the configuration.");
    config->require_subcommand(1);
    config->footer("Example:\n  cellslot config check");
    CLI::App* command = config->add_subcommand("check", "Show what the daemon makes of each key.");
    const auto options = std::make_shared<sConfigOptions>();
    command->add_option("FILE", options->file, "the file [that of the slot]")->type_name("");
    command->add_flag("-q,--quiet", options->quiet, "show findings, or nothing");
    addSlotOption(*command, options->slot);
    command->footer(
        "Findings have !: values that are not taken, or taken with quotes, blanks or a\n"
        "comment; keys that are unknown or repeated. No passwords are shown. Exit\n"
        "status 1 when there is a finding; -q then shows no more, and nothing if not.\n"
        "Examples:\n"
        "  cellslot config check new.conf && mv new.conf /etc/vuk/cellular1.conf\n"
        "  cellslot config check -q -p 2");
    command->callback([options, &context] { check(context, *options); });
}
