#include "web/web_command.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "cli/base/draft_file.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/pin/secret.h"
#include "platform/include/text_helpers.h"
#include "web/history_program.h"
#include "web/messages.h"
#include "web/page_files.h"
#include "web/password.h"
#include "web/server.h"

namespace {

constexpr size_t CREDENTIAL_MAX = 64 * 1024;
constexpr const char* IDLE_S = "60";
// A slow processor checks a password in some seconds.
constexpr const char* PATIENCE_S = "20";
constexpr int SECONDS_MAX = 86400;
constexpr mode_t PASSWORD_MODE = 0600;

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

// What the service manager hands over from root's files; empty if the file is missing.
std::string credential(const std::string& name) {
    const char* folder = getenv("CREDENTIALS_DIRECTORY");
    std::string text;
    if (folder != nullptr) readFile2String(std::string(folder) + "/" + name, text, CREDENTIAL_MAX);
    return text;
}

void serve(const std::vector<std::string>& words) {
    const sServeOptions options = readOptions(words);
    sServerSetup setup;
    setup.config = readWebConfig(setup.places);
    setup.pageFolder = options.pages;
    setup.historyProgram = options.history;
    setup.idleS = secondsOf("--idle", options.idle, 0);
    setup.patienceS = secondsOf("--patience", options.patience, 1);
    setup.certificate = credential("certificate");
    setup.key = credential("key");
    setup.passwordHash = cleanBeginEndWhiteSpace(credential("password"));
    setup.listeners = passedListeners();
    if (!options.listen.empty()) setup.listeners.push_back(listenAt(options.listen));
    if (setup.listeners.empty())
        throw cFailure(eExitStatus::USAGE,
                       "no socket to serve at: start cellslot-web.socket, or give --listen "
                       "127.0.0.1:8088");
    runServer(setup);
}

// ---- the other actions

// Not cut: the browser would send all of it.
std::string textOf(const cSecret& password) {
    if (password.isOverlong())
        throw cFailure(eExitStatus::USAGE, "the password is too long; it needs 10 to 32 bytes");
    return {password.data(), password.size()};
}

std::string askPassword() {
    cSecret password;
    cSecret again;
    if (!readSecret(STDIN_FILENO, "New password of the page: ", password))
        throw cFailure(eExitStatus::USAGE, "no password was given");
    // A program gives it once.
    if (isatty(STDIN_FILENO) == 0) return textOf(password);
    if (!readSecret(STDIN_FILENO, "The same again: ", again) || !(password == again))
        throw cFailure(eExitStatus::USAGE,
                       "the two passwords are not the same; nothing was changed");
    return textOf(password);
}

void setPassword() {
    const std::string password = askPassword();
    if (password.size() < PASSWORD_LENGTH_MIN || password.size() > PASSWORD_LENGTH_MAX)
        throw cFailure(eExitStatus::USAGE, "the password has " + std::to_string(password.size()) +
                                               " bytes; it needs 10 to 32 bytes");
    replaceFile(PASSWORD_FILE, passwordHash(password) + "\n", PASSWORD_MODE);
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
