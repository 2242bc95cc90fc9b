#include "fleet/watch_command.h"

#include <unistd.h>

#include <ctime>
#include <memory>

#include "cli/status/terminal.h"
#include "fleet/fleet_feed.h"
#include "fleet/fleet_watch.h"

namespace {

constexpr int STEP_MS = 1000;
constexpr int64_t DRAW_MS = 500;  // however much comes

void watch(sFleetContext& context, const sFilter& filter) {
    cFleetFeed feed(context.config(), context.cli.places);
    feed.open();
    requireKnown(filter, feed.fleet());
    cTerminal terminal(context.cli.out, "cellslot-fleet status");
    for (int64_t drawn = 0;;) {
        if (monotonicMs() - drawn >= DRAW_MS) {
            const time_t now = time(nullptr);
            const cFleet& fleet = feed.fleet();
            const tLines lines =
                fleetWatch(filtered(filter, judgeAll(fleet, now)), fleet.gateways().size(), now,
                           terminal.size(), feed.trouble());
            if (!terminal.show(lines)) return;
            drawn = monotonicMs();
        }
        feed.turn(STEP_MS, STDIN_FILENO);
        switch (terminal.wait(0)) {
            case cTerminal::eEvent::QUIT:
                return;
            case cTerminal::eEvent::REDRAW:
                drawn = 0;
                break;
            case cTerminal::eEvent::TIME_OUT:
                break;
        }
    }
}

}  // namespace

void addWatchCommand(const cSubcommand& app, sFleetContext& context) {
    auto filter = std::make_shared<sFilter>();
    const cSubcommand command = app.add("watch", "Show the gateways live, the worst first.");
    command.words("GATEWAY", filter->names, "only these; with * ? [...] [all]");
    addFilterOptions(command, *filter);
    addBrokerOptions(command, context);
    command.footer("q or Ctrl-C quits, any other key redraws the screen.");
    command.action([&context, filter] { watch(context, *filter); });
}
