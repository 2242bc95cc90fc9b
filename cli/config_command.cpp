#include "cli/config_command.h"

#include <unistd.h>

#include <cerrno>
#include <memory>
#include <ostream>

#include "cli/config_check.h"
#include "cli/config_place.h"
#include "cli/display_text.h"
#include "cli/failure.h"
#include "cli/printable_text.h"
#include "cli/slot_option.h"
#include "cli/system_failure.h"

namespace {

constexpr size_t KEY_WIDTH = 21;
// Of what the file holds: more than any value that is taken, and no line fills the screen.
constexpr size_t SHOWN_MAX = 300;

struct sConfigOptions {
    std::string file;
    int slot = SLOT_NOT_GIVEN;
    bool quiet = false;
};

std::string shown(const std::string& text) {
    return cutTo(printableLine(text), SHOWN_MAX);
}

void printKey(std::ostream& out, const sConfigKeyReport& key) {
    const std::string value = key.inForce.empty() ? "(none)" : shown(key.inForce);
    const std::string written = "'" + shown(key.written) + "'";
    const std::string reason = shown(key.reason);
    out << "  " << fitTo(key.key, KEY_WIDTH) << value;
    switch (key.verdict) {
        case eConfigVerdict::TAKEN:
            out << "\n";
            return;
        case eConfigVerdict::DEFAULT:
            out << "   (default" << (reason.empty() ? "" : ": ") << reason << ")\n";
            return;
        case eConfigVerdict::NOT_USED:
            out << "   (" << written << " is not used: " << reason << ")\n";
            return;
        case eConfigVerdict::REFUSED:
            out << "\n! " << fitTo("", KEY_WIDTH) << "instead of " << written << ": " << reason
                << "\n";
            return;
    }
}

cFailure unreadable(const std::string& path) {
    if (access(path.c_str(), F_OK) != 0 && errno == ENOENT)
        return {eExitStatus::FAILED, "there is no " + path +
                                         "; without one the daemon starts no data connection, "
                                         "cellslot.conf(5) tells what to write"};
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
    context.out << path << "\n";
    for (const sConfigKeyReport& key : report.keys)
        if (!options.quiet || key.verdict == eConfigVerdict::REFUSED) printKey(context.out, key);
    for (const std::string& problem : report.problems)
        context.out << "! " << shown(problem) << "\n";
    const size_t findings = report.findings();
    if (findings == 0) return;
    context.out << std::to_string(findings) << (findings == 1 ? " finding\n" : " findings\n");
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
    command->add_flag("-q,--quiet", options->quiet, "show findings only");
    addSlotOption(*command, options->slot);
    command->footer(
        "Lines with ! are findings: values that are not taken, or taken with quotes or\n"
        "outer blanks; keys that are unknown or there twice. Passwords are not shown.\n"
        "Exit status 1 when there is a finding.\n"
        "Examples:\n"
        "  cellslot config check new.conf && mv new.conf /etc/vuk/cellular1.conf\n"
        "  cellslot config check -q -p 2");
    command->callback([options, &context] { check(context, *options); });
}
