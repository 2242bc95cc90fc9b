#include "agent/agent_command.h"

#include <grp.h>
#include <pwd.h>
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <ctime>
#include <ostream>

#include "agent/agent_config.h"
#include "agent/agent_state.h"
#include "cli/base/display_text.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/utc_time.h"

namespace {

// ---- check

std::string listed(const std::vector<std::string>& entries) {
    return entries.empty() ? "none" : joined(entries);
}

std::string brokersText(const sBrokerOptions& broker) {
    std::vector<std::string> texts;
    for (const sBrokerAddress& address : broker.brokers)
        texts.push_back(brokerText(address, broker.usesTls));
    return joined(texts) + (broker.usesTls ? "" : " without TLS");
}

void showConfig(std::ostream& out, const sAgentConfig& config) {
    out << "  gateway        " << config.gateway << "\n"
        << "  broker         " << brokersText(config.broker) << "\n"
        << "  commands       " << listed(config.commands) << "\n"
        << "  AT commands    " << listed(config.atCommands) << "\n"
        << "  SMS numbers    " << (config.smsNumbers.empty() ? "any" : joined(config.smsNumbers))
        << "\n"
        << "  received SMS   " << (config.sendsMessages ? "are sent" : "are not sent") << "\n";
}

constexpr const char* AGENT_USER = "cellslot-agent";

// As long as it lives root has only the rights of the agent's user, whose files are to be checked.
// Whoever is not root, or has no such user, keeps their own.
class cAgentRights {
  public:
    cAgentRights() {
        const passwd* user = geteuid() == 0 ? getpwnam(AGENT_USER) : nullptr;
        if (user == nullptr) return;
        m_groups.resize(static_cast<size_t>(std::max(0, getgroups(0, nullptr))));
        if (getgroups(static_cast<int>(m_groups.size()), m_groups.data()) < 0) m_groups.clear();
        m_isTaken = initgroups(AGENT_USER, user->pw_gid) == 0 && setegid(user->pw_gid) == 0 &&
                    seteuid(user->pw_uid) == 0;
    }
    ~cAgentRights() {
        if (!m_isTaken) return;
        // Nothing can be done about a failure, and nothing is written after it but the findings.
        if (seteuid(0) != 0 || setegid(0) != 0) return;
        static_cast<void>(setgroups(m_groups.size(), m_groups.data()));
    }
    cAgentRights(const cAgentRights&) = delete;
    cAgentRights& operator=(const cAgentRights&) = delete;

  private:
    bool m_isTaken = false;
    std::vector<gid_t> m_groups;
};

std::vector<std::string> problemsForTheAgent(const sPlaces& places, sAgentConfig& config) {
    const cAgentRights rights;
    return checkAgentConfig(places, config);
}

bool isAboutRights(const std::string& problem) {
    return problem.find("cannot be read") != std::string::npos ||
           problem.find("cannot read") != std::string::npos;
}

void check(sCliContext& context, bool isQuiet) {
    sAgentConfig config;
    const std::vector<std::string> problems = problemsForTheAgent(context.places, config);
    for (const std::string& problem : problems)
        context.out << "! " << printableLine(problem) << "\n";
    if (std::any_of(problems.begin(), problems.end(), isAboutRights))
        context.out << "  -> the user " << AGENT_USER << " has to read these files: chgrp "
                    << AGENT_USER << ", chmod 640\n";
    if (!problems.empty()) {
        context.out << problems.size() << (problems.size() == 1 ? " finding\n" : " findings\n");
        context.exitStatus = eExitStatus::FAILED;
        return;
    }
    if (isQuiet) return;
    context.out << context.places.at(AGENT_CONFIG_FILE) << "\n";
    showConfig(context.out, config);
    context.out << "ok: nothing to correct\n";
}

// ---- status

bool isThere(int pid) {
    return pid > 0 && (kill(pid, 0) == 0 || errno == EPERM);
}

std::string agoText(time_t time) {
    return utcText(time) + " (" + durationText(std::max<time_t>(0, ::time(nullptr) - time)) + ")";
}

void showState(std::ostream& out, const sAgentState& state) {
    const std::string broker = printableLine(state.broker);
    if (state.isConnected)
        out << "connected to " << broker << " since " << agoText(state.since) << "\n";
    else
        out << "NOT CONNECTED" << (broker.empty() ? "" : " to " + broker)
            << (state.since == 0 ? "" : " since " + agoText(state.since)) << "\n";
    out << "gateway " << printableLine(state.gateway) << ", stream " << printableLine(state.stream)
        << "\n"
        << state.waiting << (state.waiting == 1 ? " message waits\n" : " messages wait\n");
    if (!state.error.empty())
        out << (state.isConnected ? "last error, " : "") << agoText(state.errorAt) << ": "
            << printableLine(state.error) << "\n";
}

void status(sCliContext& context, bool isJson) {
    const std::optional<sAgentState> state = readAgentState(context.places);
    if (!state || !isThere(state->pid))
        throw cFailure(eExitStatus::NO_DAEMON,
                       "the agent does not run; see systemctl status cellslot-agent");
    if (isJson)
        context.out << agentStateJson(*state) << "\n";
    else
        showState(context.out, *state);
    if (!state->isConnected) context.exitStatus = eExitStatus::FAILED;
}

}  // namespace

eExitStatus runAgentCommand(int argc, const char* const* argv, sCliContext& context,
                            std::ostream& err) {
    CLI::App app("Show the connection to the operator's broker.", "cellslot agent");
    app.require_subcommand(1);
    bool isQuiet = false;
    bool isJson = false;
    const cSubcommand all(&app);
    const cSubcommand checking = all.add("check", "Check /etc/cellslot/agent.conf.");
    checking.flag("-q,--quiet", isQuiet, "show only findings");
    checking.footer(
        "Findings begin with !: what is wrong, in which line, and what is expected.\n"
        "Exit status 1 if there is one.");
    checking.action([&] { check(context, isQuiet); });
    const cSubcommand showing = all.add("status", "Show whether the agent is connected.");
    showing.flag("--json", isJson, "for programs");
    showing.footer("Exit status 0 connected, 1 not connected, 3 the agent does not run.");
    showing.action([&] { status(context, isJson); });
    try {
        app.parse(argc, argv);
        if (context.out.flush()) return context.exitStatus;
        err << "cellslot agent: cannot write the output; check the free disk space\n";
        return eExitStatus::FAILED;
    } catch (const CLI::Success& help) {
        app.exit(help, context.out, err);
        return eExitStatus::OK;
    } catch (const CLI::ParseError& error) {
        err << "cellslot agent: " << error.what() << " (see cellslot agent --help)\n";
        return eExitStatus::USAGE;
    } catch (const cFailure& failure) {
        err << "cellslot agent: " << failure.what() << "\n";
        return failure.status;
    }
}
