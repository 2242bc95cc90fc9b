#include "cli/status/watch_command.h"

#include <chrono>
#include <ctime>
#include <memory>

#include "cli/base/slot_option.h"
#include "cli/status/terminal.h"
#include "cli/status/watch_screen.h"

namespace {

using tClock = std::chrono::steady_clock;

struct sWatchOptions {
    int slot = SLOT_NOT_GIVEN;
    unsigned intervalS = 2;
};

struct sWatch {
    std::vector<sSlotReport> reports;
    tHistories histories;
    sMoment moment;
};

void look(const sPlaces& places, int wanted, sWatch& watch) {
    watch.moment = currentMoment();
    watch.reports.clear();
    for (const int slot : wanted != SLOT_NOT_GIVEN ? std::vector<int>{wanted} : findSlots(places)) {
        watch.reports.push_back(reportSlot(places, slot, watch.moment));
        const sSlotReport& report = watch.reports.back();
        const bool isLive = report.isGood() && report.daemonRuns && !report.isStale();
        const sSignalReading signal = isLive ? readSignal(report.file.record) : sSignalReading();
        const bool isKnown = signal.quality != eSignalQuality::UNKNOWN;
        watch.histories[slot].add(watch.moment.uptimeS,
                                  isKnown ? std::optional(signal.strengthPercent) : std::nullopt);
    }
}

std::string footerText(const sWatch& watch, unsigned intervalS) {
    tm local{};
    char clock[16] = "";
    localtime_r(&watch.moment.now, &local);
    strftime(clock, sizeof clock, "%H:%M:%S", &local);
    return std::string(clock) + ", every " + std::to_string(intervalS) + " s; q quits";
}

bool draw(cTerminal& terminal, const sWatch& watch, unsigned intervalS) {
    return terminal.show(watchScreen(watch.reports, watch.histories, watch.moment.uptimeS,
                                     terminal.size(), footerText(watch, intervalS)));
}

int millisecondsUntil(tClock::time_point then) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(then - tClock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

void runWatch(sCliContext& context, const sWatchOptions& options) {
    cTerminal terminal(context.out);
    sWatch watch;
    for (;;) {
        look(context.places, options.slot, watch);
        const tClock::time_point next = tClock::now() + std::chrono::seconds(options.intervalS);
        cTerminal::eEvent event = cTerminal::eEvent::REDRAW;
        while (event == cTerminal::eEvent::REDRAW) {
            if (!draw(terminal, watch, options.intervalS)) return;
            event = terminal.wait(millisecondsUntil(next));
        }
        if (event == cTerminal::eEvent::QUIT) return;
    }
}

}  // namespace

void addWatchCommand(const cSubcommand& app, sCliContext& context) {
    auto options = std::make_shared<sWatchOptions>();
    const cSubcommand command =
        app.add("watch", "Show the status live, with a graph of the signal.");
    addSlotOption(command, options->slot, "only this slot, in full [all slots in use]");
    command.option("--interval", options->intervalS, "seconds between two updates [2]", "S")
        .range(1, 3600);
    command.footer(
        "q or Ctrl-C quits, any other key redraws the screen. Works on a serial console\n"
        "too. NO_COLOR=1 switches colours off.\n\n"
        "Examples:\n"
        "  cellslot watch -p 1\n"
        "  TERM=vt100 cellslot watch --interval 10");
    command.action([&context, options] { runWatch(context, *options); });
}
