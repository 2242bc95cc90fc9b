#include "web/web_command.h"

#include <iostream>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "http/credential.h"
#include "http/password_dialog.h"
#include "http/server.h"
#include "platform/include/text_helpers.h"
#include "web/gateway_site.h"
#include "web/history_program.h"
#include "web/messages.h"
#include "web/page_table.h"

namespace {

constexpr const char* IDLE_S = "60";
// A slow processor checks a password in some seconds.
constexpr const char* PATIENCE_S = "20";
constexpr int SECONDS_MAX = 86400;

constexpr const char* HELP =
    "Serves a page with the state of the modems.\n"
    "Usage: cellslot-web ACTION\n\n"
    "  serve       serve the page; the service does this\n"
    "    --listen ADDRESS:PORT   also listen there, as 127.0.0.1:8088\n"
    "    --idle S                end after this time without a client; 0: never [60]\n"
    "    --patience S            stop what reads the history, messages or a password after this\n"
    "                            time [20]\n"
    "    --pages FOLDER          files of the page [/usr/share/cellslot-web]\n"
    "    --history PROGRAM       reads the history [/usr/lib/cellslot/cellslot-web-history]\n"
    "  password    set the password for browsers on other hosts\n"
    "  check       check /etc/cellslot/web.conf\n"
    "  messages    print received messages as JSON, if the configuration allows it\n"
    "  --version   show the version\n\n"
    "Details: /usr/share/doc/cellslot-web/web.md\n";

[[noreturn]] void refuseUsage(const std::string& what) {
    throw cFailure(eExitStatus::USAGE, what + " (see cellslot-web --help)");
}

// ---- serve

struct sServeOptions {
    std::string listen;
    std::string pages = PAGE_FOLDER;
    std::string history = HISTORY_PROGRAM;
    std::string idle = IDLE_S;
    std::string patience = PATIENCE_S;
};

struct sServeOption {
    const char* name;
    std::string sServeOptions::*value;
};

const sServeOption SERVE_OPTIONS[] = {
    {"--listen", &sServeOptions::listen},     {"--pages", &sServeOptions::pages},
    {"--history", &sServeOptions::history},   {"--idle", &sServeOptions::idle},
    {"--patience", &sServeOptions::patience},
};

std::string& valueOf(sServeOptions& options, const std::string& name) {
    for (const sServeOption& option : SERVE_OPTIONS)
        if (name == option.name) return options.*option.value;
    refuseUsage("unknown option " + printableLine(name));
}

sServeOptions readOptions(const std::vector<std::string>& words) {
    sServeOptions options;
    for (size_t i = 0; i < words.size(); i += 2) {
        std::string& value = valueOf(options, words[i]);
        if (i + 1 == words.size()) refuseUsage(words[i] + " needs a value");
        value = words[i + 1];
    }
    return options;
}

int secondsOf(const char* name, const std::string& text, int least) {
    if (isStringNumeric(text) && textToInt(text) >= least && textToInt(text) <= SECONDS_MAX)
        return textToInt(text);
    refuseUsage(std::string(name) + " is " + printableLine(text) + "; expected " + itos(least) +
                " to " + itos(SECONDS_MAX) + " seconds");
}

void serve(const std::vector<std::string>& words) {
    const sServeOptions options = readOptions(words);
    sServerSetup setup;
    setup.idleS = secondsOf("--idle", options.idle, 0);
    setup.patienceS = secondsOf("--patience", options.patience, 1);
    readCredentials(setup);
    setup.listeners = passedListeners();
    if (!options.listen.empty()) setup.listeners.push_back(listenAt(options.listen));
    if (setup.listeners.empty())
        throw cFailure(eExitStatus::USAGE,
                       "no socket to serve at: start cellslot-web.socket, or give --listen "
                       "127.0.0.1:8088");
    setup.certificateHint =
        "put it into /etc/cellslot/web.crt and its key into /etc/cellslot/web.key (PEM)";
    setup.passwordHint = "cellslot-web password";
    cGatewaySite site({{}, readWebConfig({}), options.pages, setup.passwordHash, options.history});
    runServer(site, setup);
}

// ---- the other actions

void setPassword() {
    storePassword(PASSWORD_FILE, askPassword());
    std::cout << "The page asks for the new password after: systemctl try-restart cellslot-web\n";
}

void check() {
    const sWebConfig config = readWebConfig({});
    std::cout << WEB_CONFIG_FILE << " is correct: messages "
              << (config.showsMessages ? "are shown" : "are not shown") << ", "
              << config.hosts.size() << (config.hosts.size() == 1 ? " name" : " names")
              << " besides localhost and addresses\n";
}

void printMessages() {
    if (!readWebConfig({}).showsMessages)
        throw cFailure(eExitStatus::NOT_PERMITTED,
                       std::string("MESSAGES=yes is not set in ") + WEB_CONFIG_FILE);
    std::cout << messagesJson({}) << std::flush;
}

void showHelp() {
    std::cout << HELP;
}

void showVersion() {
    std::cout << CELLSLOT_VERSION << "\n";
}

struct sAction {
    const char* name;
    void (*run)();
};

const sAction ACTIONS[] = {
    {"password", setPassword}, {"check", check}, {"messages", printMessages},
    {"--help", showHelp},      {"-h", showHelp}, {"--version", showVersion},
};

void runAction(const std::vector<std::string>& words) {
    if (words.empty()) refuseUsage("an action is missing");
    if (words.front() == "serve") return serve({words.begin() + 1, words.end()});
    for (const sAction& action : ACTIONS) {
        if (words.front() != action.name) continue;
        if (words.size() > 1) refuseUsage("unexpected argument " + printableLine(words[1]));
        return action.run();
    }
    refuseUsage("unknown action " + printableLine(words.front()));
}

}  // namespace

eExitStatus runWeb(int argc, const char* const* argv, std::ostream& err) {
    try {
        runAction({argv + std::min(argc, 1), argv + argc});
    } catch (const cFailure& failure) {
        err << "cellslot-web: " << failure.what() << "\n";
        return failure.status;
    }
    return eExitStatus::OK;
}
