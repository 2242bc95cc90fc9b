#include "history/history_command.h"

#include <CLI/CLI.hpp>
#include <ostream>

#include "cli/base/draft_file.h"
#include "cli/base/failure.h"
#include "cli/base/slot_name.h"
#include "cli/base/slot_option.h"
#include "history/history_export.h"
#include "history/history_graph.h"
#include "history/history_paths.h"
#include "history/history_screen.h"
#include "history/slot_history.h"
#include "history/span.h"
#include "platform/include/text_helpers.h"
#include "published/slot.h"

namespace {

constexpr size_t EVENTS_SHOWN_MAX = 10000;
constexpr const char* SINCE_DEFAULT = "24h";
constexpr const char* SINCE_MONTHS = "1y";
constexpr const char* SINCE_DAYS = "31d";
constexpr mode_t IMAGE_MODE = 0644;

struct sOptions {
    int slot = SLOT_NOT_GIVEN;
    std::string since;
    bool json = false;
    bool csv = false;
    bool months = false;
    std::string png;
    std::string svg;
};

int slotFor(const sPlaces& places, int given) {
    const std::vector<int> slots = slotsWithHistory(places);
    if (given != SLOT_NOT_GIVEN) return given;
    if (slots.size() > 1)
        throw cFailure(eExitStatus::USAGE, "several slots have a history (" + slotNames(slots) +
                                               "): choose one with -p");
    return slots.empty() ? FIRST_SLOT : slots.front();
}

void requireGood(const cSlotHistory& history, int slot) {
    switch (history.state()) {
        case eHistory::GOOD:
            return;
        case eHistory::MISSING:
            throw cFailure(eExitStatus::FAILED,
                           "nothing is recorded of slot " + itos(slot) +
                               " yet; check: systemctl status cellslot-history cellslotd@" +
                               itos(slot));
        case eHistory::NOT_PERMITTED:
            throw cFailure(eExitStatus::NOT_PERMITTED, history.defect() + "; run it as root");
        case eHistory::DAMAGED:
            throw cFailure(
                eExitStatus::FAILED,
                history.defect() + "; restart cellslot-history.service, which puts it aside");
    }
}

struct sRun {
    sCliContext& context;
    const sOptions& options;
    time_t now;
    int slot;
    cSlotHistory history;

    sRun(sCliContext& ofContext, const sOptions& ofOptions, time_t ofNow)
        : context(ofContext),
          options(ofOptions),
          now(ofNow),
          slot(slotFor(ofContext.places, ofOptions.slot)),
          history(ofContext.places, slot) {
        requireGood(history, slot);
    }

    sTimeRange range(const char* sinceDefault) const {
        const std::string since = options.since.empty() ? sinceDefault : options.since;
        const auto begin = beginOf(since, now);
        if (!begin)
            throw cFailure(
                eExitStatus::USAGE,
                "--since must be like 90m, 24h, 7d, 2w, 1y, 2026-11-20 or \"2026-11-20 22:00\"");
        return {*begin, now};
    }
    void print(const std::vector<std::string>& lines) const {
        for (const std::string& line : lines)
            context.out << line << "\n";
    }
};

void runScreen(const sRun& run) {
    const sTimeRange range = run.range(SINCE_DEFAULT);
    const sOptions& options = run.options;
    if (!options.png.empty())
        replaceFile(options.png, drawHistory(run.context.places, run.slot, range, eGraph::PNG),
                    IMAGE_MODE);
    if (!options.svg.empty())
        replaceFile(options.svg, drawHistory(run.context.places, run.slot, range, eGraph::SVG),
                    IMAGE_MODE);
    if (!options.png.empty() || !options.svg.empty()) return;
    if (options.json)
        run.context.out << historyJson(run.history, run.slot, range) << "\n";
    else if (options.csv)
        run.context.out << historyCsv(run.history, range);
    else
        run.print(historyScreen(run.history, run.slot, range, run.now));
}

void runOutages(const sRun& run) {
    const std::vector<sOutage> outages = run.history.outages(run.range(SINCE_DEFAULT));
    if (run.options.json)
        run.context.out << outagesJson(outages) << "\n";
    else if (run.options.csv)
        run.context.out << outagesCsv(outages);
    else if (outages.empty())
        run.context.out << "no outage is recorded in this time\n";
    else
        run.print(outageLines(outages, run.now));
}

void runEvents(const sRun& run) {
    const std::vector<sEvent> events =
        run.history.events(run.range(SINCE_DEFAULT), EVENTS_SHOWN_MAX);
    if (run.options.json)
        run.context.out << eventsJson(events) << "\n";
    else if (run.options.csv)
        run.context.out << eventsCsv(events);
    else if (events.empty())
        run.context.out << "no event is recorded in this time\n";
    else
        run.print(eventLines(events));
}

void runUsage(const sRun& run) {
    const bool byMonth = run.options.months;
    const sTimeRange range = run.range(byMonth ? SINCE_MONTHS : SINCE_DAYS);
    const std::vector<sUsageLine> lines =
        byMonth ? run.history.usageByMonth(range) : run.history.usageByDay(range);
    if (run.options.json)
        run.context.out << usageJson(lines) << "\n";
    else if (run.options.csv)
        run.context.out << usageCsv(lines);
    else
        run.print(usageLines(lines));
}

void addCommonOptions(const cSubcommand& command, sOptions& options) {
    addSlotOption(command, options.slot, "slot; needed only if several have a history");
    command.option("--since", options.since,
                   "begin: 90m, 24h, 7d, 2w, 1y before now, or a date of local time", "TIME");
    const cCommandOption json = command.flag("--json", options.json, "for programs");
    command.flag("--csv", options.csv, "for spreadsheets").excludes(json);
}

cSubcommand addSubcommand(const cSubcommand& app, sCliContext& context, sOptions& options,
                          time_t now, const char* name, const char* help,
                          void (*run)(const sRun&)) {
    const cSubcommand command = app.add(name, help);
    addCommonOptions(command, options);
    command.action([&context, &options, now, run] { run(sRun(context, options, now)); });
    return command;
}

void addSubcommands(const cSubcommand& app, sCliContext& context, sOptions& options, time_t now) {
    addSubcommand(app, context, options, now, "outages",
                  "Times without a connection, with their cause.", runOutages);
    addSubcommand(app, context, options, now, "events", "What happened.", runEvents);
    addSubcommand(app, context, options, now, "usage", "Data and messages by day and SIM.",
                  runUsage)
        .flag("--month", options.months, "by month, of the last year");
}

}  // namespace

eExitStatus runHistoryCommand(int argc, const char* const* argv, sCliContext& context, time_t now,
                              std::ostream& err) {
    CLI::App app("Show what was: connection, outages, signal and data of a slot.",
                 "cellslot history");
    app.footer("Example:\n  cellslot history --since 7d");
    sOptions options;
    const cSubcommand all(&app);
    addCommonOptions(all, options);
    all.option("--png", options.png, "draw the signal into this file", "FILE");
    all.option("--svg", options.svg, "the same as SVG", "FILE");
    app.require_subcommand(0, 1);
    addSubcommands(all, context, options, now);
    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) runScreen(sRun(context, options, now));
        if (context.out.flush()) return context.exitStatus;
        err << "cellslot history: cannot write the output; check the free disk space\n";
        return eExitStatus::FAILED;
    } catch (const CLI::Success& help) {
        app.exit(help, context.out, err);
        return eExitStatus::OK;
    } catch (const CLI::ParseError& error) {
        err << "cellslot history: " << error.what() << " (see cellslot history --help)\n";
        return eExitStatus::USAGE;
    } catch (const cFailure& failure) {
        err << "cellslot history: " << failure.what() << "\n";
        return failure.status;
    }
}
