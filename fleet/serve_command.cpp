#include "fleet/serve_command.h"

#include <malloc.h>

#include <memory>
#include <ostream>

#include "fleet/fleet_site.h"
#include "http/credential.h"
#include "http/password_dialog.h"

namespace {

constexpr const char* PAGE_PASSWORD_FILE = "/etc/cellslot/fleet-page.password";
constexpr const char* CERTIFICATE_HINT =
    "put it into /etc/cellslot/fleet-page.crt and its key into /etc/cellslot/fleet-page.key (PEM) "
    "and use the service cellslot-fleet";
// An answer is many megabytes: with a small one each piece waits for the client.
constexpr int SEND_BUFFER = 1024 * 1024;
// A slow processor checks a password in some seconds.
constexpr long long PATIENCE_S = 20;
// From this size on memory is given back to the host as soon as it is free: answers with the whole
// fleet are made once a minute and must not stay.
constexpr int LARGE_BLOCK = 1024 * 1024;

struct sServeOptions {
    std::string listen;
    std::string pages = FLEET_PAGE_FOLDER;
};

void serve(const sFleetContext& context, const sServeOptions& options) {
    const sFleetConfig config = context.config();
    mallopt(M_MMAP_THRESHOLD, LARGE_BLOCK);
    sServerSetup setup;
    readCredentials(setup);
    setup.certificateHint = CERTIFICATE_HINT;
    setup.passwordHint = "cellslot-fleet password";
    setup.sendBuffer = SEND_BUFFER;
    setup.patienceS = PATIENCE_S;
    setup.listeners = {listenAt(options.listen.empty() ? config.listen : options.listen)};
    cFleetFeed feed(config, context.cli.places);
    setup.wait = [&feed](int descriptor, int milliseconds) { feed.turn(milliseconds, descriptor); };
    const std::string file = config.file.empty() ? FLEET_CONFIG_FILE : config.file;
    cFleetSite site(
        {config.hosts, setup.passwordHash, options.pages, "server", file, "cellslot-fleet"}, feed);
    context.cli.out << "serving at " << setup.listeners.front().name << std::endl;
    runServer(site, setup);
}

void setPassword(const sFleetContext& context) {
    storePassword(PAGE_PASSWORD_FILE, askPassword());
    context.cli.out
        << "The page asks for the new password after: systemctl try-restart cellslot-fleet\n";
}

}  // namespace

void addServeCommand(const cSubcommand& app, sFleetContext& context) {
    auto options = std::make_shared<sServeOptions>();
    const cSubcommand command =
        app.add("serve", "Serve a page with all gateways, and /metrics for Prometheus.");
    command.option("--listen", options->listen, "instead of LISTEN of the configuration",
                   "ADDRESS:PORT");
    command.option("--pages", options->pages, "the page's files [/usr/share/cellslot-fleet]",
                   "FOLDER");
    addBrokerOptions(command, context);
    command.footer(
        "Other hosts can ask only with TLS and a password, which the service cellslot-fleet hands "
        "over (man cellslot-fleet).");
    command.action([&context, options] { serve(context, *options); });
}

void addPasswordCommand(const cSubcommand& app, sFleetContext& context) {
    const cSubcommand command =
        app.add("password", "Set the password of the page for browsers on other hosts.");
    command.action([&context] { setPassword(context); });
}
