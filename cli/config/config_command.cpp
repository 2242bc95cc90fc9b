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
// Longer than any accepted value, and short enough for the screen.
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

// Why a value is in force that differs from the file.
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
        return {eExitStatus::FAILED, path +
                                         " does not exist; without it the daemon starts no data "
                                         "connection. Create it as cellslot.conf(5) describes"};
    if (access(path.c_str(), R_OK) != 0) return systemFailure("read " + path, errno);
    return {
        eExitStatus::FAILED,
        path + " is not a regular file, or is longer than 128 KB: the daemon treats it as missing"};
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

void addConfigCommand(const cSubcommand& app, sCliContext& context) {
    const cSubcommand config = app.add("config", "Check the configuration.");
    config.requireSubcommand();
    config.footer("Example:\n  cellslot config check");
    const cSubcommand command = config.add("check", "Show how the daemon reads the file.");
    const auto options = std::make_shared<sConfigOptions>();
    command.option("FILE", options->file, "the file to check [the slot's own]").fileName();
    command.flag("-q,--quiet", options->quiet, "show only findings");
    addSlotOption(command, options->slot);
    command.footer(
        "Findings begin with !: values that are not accepted, or that include quotes,\n"
        "blanks or a comment; keys that are unknown or repeated. Then come the values in\n"
        "force, without passwords. Exit status 1 if there is a finding.\n"
        "Examples:\n"
        "  cellslot config check new.conf && mv new.conf /etc/vuk/cellular1.conf\n"
        "  cellslot config check -q -p 2");
    command.action([options, &context] { check(context, *options); });
}
