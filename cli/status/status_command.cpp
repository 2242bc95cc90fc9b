#include "cli/status/status_command.h"

#include <memory>
#include <ostream>

#include "cli/base/failure.h"
#include "cli/base/slot_name.h"
#include "cli/base/slot_option.h"
#include "cli/status/no_daemon.h"
#include "cli/status/slot_report.h"
#include "cli/status/status_json.h"
#include "cli/status/status_metrics.h"
#include "cli/status/status_screen.h"
#include "platform/include/text_helpers.h"

namespace {

struct sStatusOptions {
    int slot = SLOT_NOT_GIVEN;
    bool json = false;
    bool metrics = false;
};

eExitStatus statusOfFile(eStatusFile state) {
    switch (state) {
        case eStatusFile::GOOD:
            return eExitStatus::OK;
        case eStatusFile::MISSING:
            return eExitStatus::NO_DAEMON;
        case eStatusFile::NOT_PERMITTED:
            return eExitStatus::NOT_PERMITTED;
        case eStatusFile::UNREADABLE:
        case eStatusFile::CUT_SHORT:
        case eStatusFile::DAMAGED:
            break;
    }
    return eExitStatus::STALE;
}

eExitStatus statusOfSlot(const sSlotReport& report) {
    if (!report.isGood()) return statusOfFile(report.file.state);
    if (!report.daemonRuns) return eExitStatus::NO_DAEMON;
    return report.isStale() ? eExitStatus::STALE : eExitStatus::OK;
}

// The error for a slot of which nothing is known.
std::string failureLine(const sSlotReport& report) {
    if (!report.daemonRuns && report.file.state == eStatusFile::MISSING)
        return noDaemon(report).what();
    const sProblem problem = diagnose(report).problems.front();
    const std::string slot = slotName(report.slot) + ": ";
    return slot + problem.what + (problem.mend.empty() ? "" : " Try: " + problem.mend);
}

void printLines(std::ostream& out, const tLines& lines) {
    for (const std::string& line : lines)
        out << line << "\n";
}

void show(sCliContext& context, const sStatusOptions& options,
          const std::vector<sSlotReport>& reports) {
    if (options.json)
        context.out << statusJson(reports) << "\n";
    else if (options.metrics)
        context.out << statusMetrics(reports);
    else if (reports.size() == 1)
        printLines(context.out, slotScreen(reports.front()));
    else
        printLines(context.out, slotsScreen(reports));
}

void runStatus(sCliContext& context, const sStatusOptions& options) {
    const std::vector<int> slots =
        options.slot != SLOT_NOT_GIVEN ? std::vector<int>{options.slot} : findSlots(context.places);
    if (slots.empty()) {
        // A program expects a list, even an empty one.
        if (options.json) context.out << statusJson({}) << "\n";
        throw noDaemonAtAll();
    }
    const sMoment moment = currentMoment();
    std::vector<sSlotReport> reports;
    reports.reserve(slots.size());
    for (const int slot : slots)
        reports.push_back(reportSlot(context.places, slot, moment));
    // People need the error, not a screen without content.
    const sSlotReport& first = reports.front();
    if (reports.size() == 1 && !first.isGood() && !options.json && !options.metrics)
        throw cFailure(statusOfSlot(first), failureLine(first));
    show(context, options, reports);
    for (const sSlotReport& report : reports)
        if (context.exitStatus == eExitStatus::OK) context.exitStatus = statusOfSlot(report);
}

}  // namespace

void addStatusCommand(const cSubcommand& app, sCliContext& context) {
    auto options = std::make_shared<sStatusOptions>();
    const cSubcommand command =
        app.add("status", "Show the state of modem, SIM, network and data.");
    addSlotOption(command, options->slot, "only this slot [all slots in use]");
    const cCommandOption json = command.flag("--json", options->json, "print JSON, for programs");
    command.flag("--metrics", options->metrics, "print metrics for Prometheus").excludes(json);
    command.footer(
        "One slot is shown in full, several in a table. Problems come first, each with\n"
        "what to do about it.\n\n"
        "Examples:\n"
        "  cellslot status\n"
        "  cellslot status -p 1\n"
        "  cellslot status --json | jq '.slots[].signal'\n\n"
        "Exit status: 0 shown, 3 no daemon, 4 status old or damaged, 5 no permission.");
    command.action([&context, options] { runStatus(context, *options); });
}
