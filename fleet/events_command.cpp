#include "fleet/events_command.h"

#include <memory>
#include <ostream>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/waiting.h"
#include "fleet/event_lines.h"
#include "fleet/line_words.h"

namespace {

constexpr int STEP_MS = 1000;
constexpr const char* MISSED = "what gateways report meanwhile is not shown";
constexpr const char* KEPT = "the broker keeps for this session what gateways report meanwhile";

struct sEventsOptions {
    sFilter filter;
    bool follow = false;
    bool sms = false;
    bool json = false;
    std::string session;
};

void requireUsable(const sEventsOptions& options) {
    if (!options.follow && options.session.empty())
        throw cFailure(eExitStatus::USAGE,
                       "the broker keeps no events by itself: use --follow for new ones, --session "
                       "NAME for those since the last time, or send GATEWAY history --view events");
    if (!options.session.empty() && !isGatewayName(options.session))
        throw cFailure(eExitStatus::USAGE, "the session '" + printableLine(options.session) +
                                               "' has other characters than letters, digits, '-' "
                                               "and '_', or more than 48");
}

std::vector<cDesk::sSubscription> subscriptions(const sEventsOptions& options) {
    constexpr auto EACH = cBrokerLink::eDelivery::AT_LEAST_ONCE;
    std::vector<cDesk::sSubscription> wanted = {{everyGateway(eTopic::EVENT), EACH}};
    if (options.sms) wanted.push_back({everyGateway(eTopic::SMS), EACH});
    return wanted;
}

void events(sFleetContext& context, const sEventsOptions& options) {
    requireUsable(options);
    const cInterruption interruption;
    cSeenIds seen;
    std::ostream& out = context.cli.out;
    cDesk desk(context.config(), context.cli.places, options.session, subscriptions(options),
               [&](const sTopic& topic, const sIncomingMessage& message) {
                   // The broker keeps the subscription of an earlier call of this session.
                   if (topic.kind == eTopic::SMS && !options.sms) return;
                   if (!isNamed(options.filter, topic.gateway)) return;
                   const auto toText = options.json ? eventJson : eventLine;
                   const std::string line = toText(topic, message.payload, seen);
                   if (!line.empty()) out << line << std::endl;
               });
    if (options.follow)
        desk.open();
    else
        desk.collect();  // what has waited
    cLineWords line(options.session.empty() ? MISSED : KEPT);
    while (options.follow && cInterruption::signalSeen() == 0 && out) {
        desk.turn(STEP_MS);
        line.follow(desk);
    }
}

}  // namespace

void addEventsCommand(const cSubcommand& app, sFleetContext& context) {
    auto options = std::make_shared<sEventsOptions>();
    const cSubcommand command = app.add("events", "Show what the gateways report.");
    command.words("GATEWAY", options->filter.names, "only these; with * ? [...] [all]");
    command.flag("-f,--follow", options->follow, "go on with what comes, until Ctrl-C");
    command.option("--session", options->session, "first what the broker kept since the last NAME",
                   "NAME");
    command.flag("--sms", options->sms, "also text messages that gateways received");
    command.flag("--json", options->json, "one JSON object a line");
    addBrokerOptions(command, context);
    command.footer(
        "Examples:\n"
        "  cellslot-fleet events --follow 'pump-*'\n"
        "  cellslot-fleet events --session night-shift --json");
    command.action([&context, options] { events(context, *options); });
}
