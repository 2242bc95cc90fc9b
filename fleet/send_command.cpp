#include "fleet/send_command.h"

#include <unistd.h>

#include <ctime>
#include <istream>
#include <memory>
#include <ostream>
#include <random>

#include "cli/base/display_text.h"
#include "cli/base/draft_file.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/utc_time.h"
#include "cli/base/waiting.h"
#include "fleet/campaign.h"
#include "fleet/line_words.h"
#include "fleet/order.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr int STEP_MS = 1000;
constexpr size_t BAR_CELLS = 30;
constexpr size_t NAMES_SHOWN = 20;
constexpr mode_t OUTPUT_MODE = 0600;
constexpr const char* SENT_AGAIN = "what is out is sent again after it, and executed once";

struct sSendOptions {
    std::vector<std::string> words;
    sFilter filter;
    sOrderOptions order;
    std::string output;
    unsigned wave = 50;
    unsigned stopOn = 0;
    unsigned waitS = 600;
    bool yes = false;
    bool dryRun = false;
};

// Never used again, as the gateways want it.
std::string campaignId() {
    std::random_device random;
    char id[32];
    snprintf(id, sizeof id, "%08x%08x", random(), random());
    return id;
}

// ---- who is asked, and what

struct sPlan {
    sCommand order;
    cCampaign::sSetup setup;
    size_t offline = 0;
};

void requireTargets(const sSendOptions& options) {
    if (!options.filter.isEmpty()) return;
    throw cFailure(eExitStatus::USAGE,
                   "name the gateways, or choose them with a filter; all of them: '*'");
}

sPlan makePlan(const sFleetContext& context, const sSendOptions& options, const sCommand& order) {
    const cFleet fleet = collectFleet(context);
    requireKnown(options.filter, fleet);
    sPlan plan;
    plan.order = order;
    plan.setup.wave = options.wave;
    plan.setup.stopOn = options.stopOn;
    plan.setup.waitS = options.waitS;
    const std::string by = context.config().by;
    const std::string id = campaignId();
    for (const sJudgement& judgement : filtered(options.filter, judgeAll(fleet, time(nullptr)))) {
        const std::string& name = judgement.gateway->name;
        plan.setup.order.push_back(name);
        plan.offline += judgement.isOnline ? 0 : 1;
        sCommand& command = plan.setup.commands[name];
        command = commandFor(*judgement.gateway, order,
                             id + "." + std::to_string(plan.setup.order.size()));
        command.by = by;
    }
    if (plan.setup.order.empty()) throw cFailure(eExitStatus::FAILED, "no gateway matches");
    return plan;
}

std::string counted(size_t number) {
    return std::to_string(number) + (number == 1 ? " gateway" : " gateways");
}

std::string names(const std::vector<std::string>& all) {
    std::vector<std::string> shown = all;
    if (shown.size() > NAMES_SHOWN) {
        shown.resize(NAMES_SHOWN);
        shown.push_back("and " + std::to_string(all.size() - NAMES_SHOWN) + " more");
    }
    return joined(shown);
}

void showPlan(const sPlan& plan, std::ostream& out) {
    const size_t waves = (plan.setup.order.size() + plan.setup.wave - 1) / plan.setup.wave;
    out << plan.order.name << " to " << counted(plan.setup.order.size()) << " in " << waves
        << (waves == 1 ? " wave" : " waves");
    if (plan.offline > 0)
        out << "; " << plan.offline << " offline: it waits for them at the broker";
    out << "\n";
}

void dryRun(const sPlan& plan, std::ostream& out) {
    showPlan(plan, out);
    for (size_t i = 0; i < plan.setup.order.size(); ++i) {
        const std::string& name = plan.setup.order[i];
        sCommand command = plan.setup.commands.at(name);
        command.deadline = time(nullptr) + plan.setup.waitS;
        out << "wave " << i / plan.setup.wave + 1 << "  " << name << "  "
            << printableLine(commandText(command)) << "\n";
    }
}

void requireConsent(const sPlan& plan, const sSendOptions& options, sCliContext& cli) {
    if (plan.setup.order.size() == 1 || options.yes) return;
    if (isatty(STDIN_FILENO) == 0)
        throw cFailure(eExitStatus::USAGE, "this would ask " + counted(plan.setup.order.size()) +
                                               "; use --yes in scripts, or --dry-run to see which");
    showPlan(plan, cli.out);
    cli.out << "Go on? [y/N] " << std::flush;
    std::string reply;
    std::getline(cli.in, reply);
    if (reply != "y" && reply != "yes") throw cFailure(eExitStatus::FAILED, "nothing was sent");
}

// ---- what is shown meanwhile

class cProgress {
  public:
    cProgress(const cWaves& waves, bool isShown) : m_waves(waves), m_isShown(isShown) {}

    void show() const {
        if (!m_isShown) return;
        const size_t ended = m_waves.succeeded() + m_waves.failed();
        const size_t full = m_waves.total() == 0 ? 0 : ended * BAR_CELLS / m_waves.total();
        const std::string line = "\r[" + std::string(full, '#') +
                                 std::string(BAR_CELLS - full, '-') + "] " + std::to_string(ended) +
                                 " of " + std::to_string(m_waves.total()) + ", " +
                                 std::to_string(m_waves.failed()) + " failed, " +
                                 std::to_string(m_waves.out().size()) + " out\033[K";
        write(line);
    }
    void clear() const {
        if (m_isShown) write("\r\033[K");
    }

  private:
    static void write(const std::string& text) {
        if (::write(STDERR_FILENO, text.data(), text.size()) < 0) return;  // the terminal is gone
    }

    const cWaves& m_waves;
    const bool m_isShown;
};

// With several gateways each has a file of its own in a folder.
std::string outputPath(const sSendOptions& options, const std::string& gateway, size_t gateways) {
    return gateways == 1 ? options.output : options.output + "/" + gateway;
}

struct sSaved {
    bool isGood = true;
    std::string words;
};

// What one gateway's file has must not end the others' answers.
sSaved save(const sAnswer& answer, const sSendOptions& options, size_t gateways) {
    if (options.output.empty()) return {};
    if (answer.output.empty())
        return {!answer.isSuccess, answer.isSuccess ? "nothing to save came with it" : ""};
    const std::string path = outputPath(options, answer.gateway, gateways);
    try {
        replaceFile(path, answer.output, OUTPUT_MODE);
    } catch (const cFailure& failure) {
        return {false, std::string("not saved: ") + failure.what()};
    }
    return {true, "saved as " + printableLine(path)};
}

// False if what came could not be saved.
bool showAnswer(const sAnswer& answer, const sSendOptions& options, size_t gateways,
                std::ostream& out) {
    const sSaved saved = save(answer, options, gateways);
    out << answer.gateway << ": " << resultWord(answer.status);
    if (!answer.text.empty()) out << ": " << answer.text;
    if (answer.isLate) out << " (too late: it counts as failed)";
    if (!saved.words.empty()) out << " (" << saved.words << ")";
    out << "\n";
    if (options.output.empty() && !answer.output.empty()) {
        const std::string text = printableText(answer.output);
        out << text << (text.back() == '\n' ? "" : "\n");
    }
    out << std::flush;
    return saved.isGood;
}

void showEnd(const cCampaign& campaign, bool isInterrupted, std::ostream& out) {
    const cWaves& waves = campaign.waves();
    std::vector<std::string> parts;
    const auto add = [&parts](size_t number, const char* words) {
        if (number > 0) parts.push_back(std::to_string(number) + " " + words);
    };
    add(waves.succeeded(), "done");
    add(waves.failed(), "failed");
    add(waves.out().size(), "without an answer so far");
    add(waves.notAsked().size(), "not asked");
    out << counted(waves.total()) << ": " << joined(parts) << "\n";
    if (isInterrupted && !waves.out().empty())
        out << "Still out, and executed until " << utcText(campaign.deadline())
            << " if the gateway gets it: " << names({waves.out().begin(), waves.out().end()})
            << "\n";
    if (!waves.notAsked().empty()) out << "Not asked: " << names(waves.notAsked()) << "\n";
}

// ---- the command

void runCampaign(const sFleetContext& context, const sSendOptions& options, const sPlan& plan) {
    std::ostream& out = context.cli.out;
    const size_t gateways = plan.setup.order.size();
    const cInterruption interruption;
    cCampaign* running = nullptr;
    constexpr auto EACH = cBrokerLink::eDelivery::AT_LEAST_ONCE;
    const std::string results = gateways == 1
                                    ? topicText({plan.setup.order.front(), eTopic::RESULT, 0})
                                    : everyGateway(eTopic::RESULT);
    cDesk desk(context.config(), context.cli.places, "", {{results, EACH}},
               [&running](const sTopic& topic, const sIncomingMessage& message) {
                   if (running != nullptr && topic.kind == eTopic::RESULT)
                       running->take(topic.gateway, message.payload);
               });
    if (!desk.open()) throw cFailure(eExitStatus::FAILED, "interrupted; nothing was sent");
    const cProgress* progress = nullptr;
    bool areSaved = true;
    cCampaign campaign(
        plan.setup,
        [&desk](const std::string& topic, const std::string& text) {
            return desk.publish(topic, text);
        },
        [&](const sAnswer& answer) {
            if (progress != nullptr) progress->clear();
            areSaved = showAnswer(answer, options, gateways, out) && areSaved;
        });
    running = &campaign;
    const cProgress shown(campaign.waves(), gateways > 1 && isatty(STDERR_FILENO) != 0);
    progress = &shown;
    desk.onBack([&campaign] { campaign.lineIsBack(time(nullptr)); });
    cLineWords line(SENT_AGAIN);
    while (!campaign.waves().isOver() && cInterruption::signalSeen() == 0) {
        if (desk.isReady())
            campaign.turn(time(nullptr));
        else
            campaign.turnWithoutLine(time(nullptr));
        line.follow(desk);
        shown.show();
        if (!campaign.waves().isOver()) desk.turn(STEP_MS);
    }
    const bool isInterrupted = cInterruption::signalSeen() != 0;
    campaign.waves().stop();
    shown.clear();
    if (gateways > 1 || isInterrupted) showEnd(campaign, isInterrupted, out);
    if (campaign.waves().succeeded() != gateways || !areSaved)
        context.cli.exitStatus = eExitStatus::FAILED;
}

void requireOutput(const sSendOptions& options, const sPlan& plan) {
    if (options.output.empty() && plan.order.name == COMMAND_REPORT)
        throw cFailure(eExitStatus::USAGE, "a report is an archive: --output FILE");
    if (!options.output.empty() && plan.setup.order.size() > 1 &&
        access((options.output + "/.").c_str(), W_OK) != 0)
        throw cFailure(eExitStatus::USAGE, printableLine(options.output) +
                                               " is not a folder to write to; several gateways "
                                               "need one");
}

void send(sFleetContext& context, sSendOptions options) {
    const sSendWords words = splitWords(options.words);
    if (words.command.empty() && words.names.size() > 1)
        throw cFailure(eExitStatus::USAGE,
                       "'" + printableLine(words.names.back()) +
                           "' is not a command, so it is read as a gateway, and "
                           "the command is missing; expected " +
                           commandNames());
    options.filter.names = words.names;
    const sCommand order = readOrder(words.command, options.order);
    requireTargets(options);
    const sPlan plan = makePlan(context, options, order);
    requireOutput(options, plan);
    if (options.dryRun) return dryRun(plan, context.cli.out);
    requireConsent(plan, options, context.cli);
    runCampaign(context, options, plan);
}

}  // namespace

void addSendCommand(const cSubcommand& app, sFleetContext& context) {
    auto options = std::make_shared<sSendOptions>();
    const cSubcommand command = app.add("send", "Ask gateways to do something.");
    command.words("WORDS", options->words, "GATEWAY..., with * ? [...]; then COMMAND, see below");
    addFilterOptions(command, options->filter);
    command.option("-p,--port", options->order.slot, "slot [the only one of each gateway]", "N");
    command.option("--since", options->order.since, "history: as 24h", "TIME");
    command.option("--view", options->order.view, "history: summary, outages, events, usage",
                   "VIEW");
    command
        .option("--confirm", options->order.confirmS,
                "config: back within this time, or undone [300]", "S")
        .range(CONFIRM_LEAST_S, CONFIRM_GREATEST_S);
    command.option("--output", options->output, "file of the answer; of several: a folder", "F");
    command.option("--wave", options->wave, "so many at a time [50]", "N").range(1, 100000);
    command.option("--stop-on", options->stopOn, "after so many failures no further wave", "N")
        .range(1, 100000);
    command.option("--deadline", options->waitS, "begun within this time or not at all [600]", "S")
        .range(10, DEADLINE_MAX_S);
    command.flag("-y,--yes", options->yes, "do not ask before several gateways");
    command.flag("--dry-run", options->dryRun, "show what would be sent to whom");
    addBrokerOptions(command, context);
    command.footer(
        "COMMAND: data on|off|auto, reload, sms NUMBER TEXT, at COMMAND, doctor, history,\n"
        "report, config FILE. Each only if the gateway's configuration allows it.\n\n"
        "Examples:\n"
        "  cellslot-fleet send pump-7 doctor\n"
        "  cellslot-fleet send 'pump-*' --wave 50 --stop-on 3 config new.conf");
    command.action([&context, options] { send(context, *options); });
}
