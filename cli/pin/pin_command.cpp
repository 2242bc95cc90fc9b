#include "cli/pin/pin_command.h"

#include <unistd.h>

#include <cstring>
#include <memory>
#include <ostream>
#include <vector>

#include "cli/base/daemon_process.h"
#include "cli/base/failure.h"
#include "cli/base/slot_name.h"
#include "cli/base/slot_option.h"
#include "cli/base/waiting.h"
#include "cli/pin/pin_format.h"
#include "cli/pin/pin_outcome.h"
#include "cli/pin/sim_files.h"
#include "cli/status/no_daemon.h"
#include "published/outcome_texts.h"

namespace {

// While the SIM is locked, set-up repeats; each one takes some seconds.
constexpr unsigned WAIT_S = 60;
// The status file is written every two seconds.
constexpr unsigned PUBLISH_S = 10;

struct sPinOptions {
    int slot = SLOT_NOT_GIVEN;
    unsigned timeoutS = WAIT_S;
    bool force = false;
};

[[noreturn]] void fail(const std::string& line) {
    throw cFailure(eExitStatus::FAILED, line);
}

// ---- secrets from the user

void ask(const std::string& prompt, cSecret& secret) {
    if (!readSecret(STDIN_FILENO, prompt, secret))
        throw cFailure(eExitStatus::USAGE, "nothing was entered");
}

void askPin(const std::string& prompt, cSecret& pin) {
    ask(prompt, pin);
    if (!isPin(pin))
        throw cFailure(eExitStatus::USAGE, "a PIN must have 4 to 8 digits; nothing changed");
}

// A user types it without echo, so twice; a program makes no typing errors.
void askNewPin(cSecret& pin) {
    askPin("New PIN: ", pin);
    if (isatty(STDIN_FILENO) == 0) return;
    cSecret again;
    ask("Repeat the new PIN: ", again);
    if (!(again == pin)) throw cFailure(eExitStatus::USAGE, "the two PINs differ; nothing changed");
}

void askPuk(cSecret& puk) {
    ask("PUK: ", puk);
    if (!isPuk(puk))
        throw cFailure(eExitStatus::USAGE, "a PUK must have 8 digits; nothing changed");
}

// ---- outcome

// attempts: of the PIN or the PUK, whichever was used.
std::string attemptsLeft(int attempts) {
    return attempts < 0 ? "" : "; attempts left: " + std::to_string(attempts);
}

// The first status that the daemon writes after it took a request contains the outcome.
void waitForNextStatus(const sPlaces& places, int slot) {
    const std::string edition = statusEdition(places, slot);
    waitFor(PUBLISH_S, [&] { return statusEdition(places, slot) != edition; });
}

void reportOutcome(sCliContext& context, int slot, const std::string& nothingSaid,
                   int sSimView::*attempts) {
    const sSimView sim = simView(context.places, slot);
    if (sim.outcome.empty()) {
        context.out << nothingSaid << "\n";
    } else if (isPinOutcomeGood(sim.outcome)) {
        context.out << sim.outcome << "\n";
    } else {
        // The daemon publishes the outcome before it reads the remaining attempts from the SIM.
        waitForNextStatus(context.places, slot);
        fail(sim.outcome + attemptsLeft(simView(context.places, slot).*attempts));
    }
}

// What was passed to the daemon.
struct sRequest {
    std::string path;                    // emptied by the daemon when it takes the request
    std::vector<std::string> withdrawn;  // removed on a time-out, so that nothing happens later
    std::string nothingSaid;             // what it means if the daemon publishes no outcome
    int sSimView::*attempts;
};

void waitUntilTaken(sCliContext& context, int slot, const sPinOptions& options,
                    const sRequest& request) {
    const sPlaces& places = context.places;
    if (options.timeoutS == 0) {
        context.out << "passed to the daemon\n";
        return;
    }
    const cInterruption interruption;
    if (!waitFor(options.timeoutS, [&] { return isEmptied(places, request.path); })) {
        for (const std::string& path : request.withdrawn)
            unlink(places.at(path).c_str());
        throw cFailure(eExitStatus::TIMED_OUT,
                       "the daemon did not take the request, so it was withdrawn; SIM state: " +
                           simView(places, slot).status);
    }
    waitForNextStatus(places, slot);
    reportOutcome(context, slot, request.nothingSaid, request.attempts);
}

void waitUntilTaken(sCliContext& context, int slot, const sPinOptions& options,
                    const std::string& nothingSaid) {
    const std::string path = pinRequestPath(slot);
    waitUntilTaken(context, slot, options, {path, {path}, nothingSaid, &sSimView::pinAttempts});
}

// ---- set

void requireAttempts(const sSimView& sim, bool force) {
    if (!sim.wantsPin() || sim.pinAttempts != 1 || force) return;
    fail(
        "the SIM has one attempt left, and a wrong PIN blocks it until the PUK is entered; use "
        "--force to try anyway");
}

// The daemon tries a locked SIM at once. An emptied file or a new outcome shows that it failed.
void waitUntilTried(sCliContext& context, int slot, const sPinOptions& options,
                    const std::string& outcomeBefore) {
    const sPlaces& places = context.places;
    const auto isTried = [&] {
        const sSimView sim = simView(places, slot);
        return sim.isReady() || isEmptied(places, pinFilePath(slot)) ||
               sim.outcome != outcomeBefore;
    };
    if (!waitFor(options.timeoutS, isTried))
        throw cFailure(
            eExitStatus::TIMED_OUT,
            "the PIN is stored, but the daemon has not tried it yet; see cellslot status");
    if (!simView(places, slot).isReady()) waitForNextStatus(places, slot);
    reportOutcome(context, slot, "the SIM is ready", &sSimView::pinAttempts);
}

void set(sCliContext& context, const sPinOptions& options) {
    const sPlaces& places = context.places;
    const int slot = chooseSlot(places, options.slot);
    const bool runs = runningDaemon(places, slot) != 0;
    const sSimView before = runs ? simView(places, slot) : sSimView{};
    requireAttempts(before, options.force);
    cSecret pin;
    askPin("PIN of the SIM in " + slotName(slot) + ": ", pin);
    writeSimFile(places, pinFilePath(slot), pin.data(), pin.size());
    if (before.wantsPin() && options.timeoutS != 0)
        waitUntilTried(context, slot, options, before.outcome);
    else
        context.out << "stored; the daemon sends it when the SIM asks for it\n";
}

// ---- change, enable, disable

// The daemon needs the stored PIN for these operations.
int requireReady(const sPlaces& places, const sPinOptions& options) {
    const int slot = chooseSlot(places, options.slot);
    requireDaemon(places, slot);
    const sSimView sim = simView(places, slot);
    if (!sim.isReady())
        fail("the SIM is not ready" + (sim.status.empty() ? "" : " (" + sim.status + ")") +
             "; see cellslot status");
    if (sim.pinAttempts == 1 && !options.force)
        fail(
            "the SIM has one attempt left, and if the stored PIN is wrong, it is blocked until the "
            "PUK is entered; use --force to try anyway");
    if (!hasUsablePin(places, slot))
        fail("the daemon does not know the present PIN; store it first: cellslot pin set -p " +
             std::to_string(slot));
    return slot;
}

void change(sCliContext& context, const sPinOptions& options) {
    const int slot = requireReady(context.places, options);
    cSecret pin;
    askNewPin(pin);
    writeSimFile(context.places, pinRequestPath(slot), pin.data(), pin.size());
    waitUntilTaken(context, slot, options, "nothing to do: the SIM already has this PIN");
}

void switchLock(sCliContext& context, const sPinOptions& options, const char* word) {
    const int slot = requireReady(context.places, options);
    writeSimFile(context.places, pinRequestPath(slot), word, strlen(word));
    waitUntilTaken(context, slot, options,
                   std::string("nothing to do: the PIN lock is already ") + word + "d");
}

// ---- puk

std::string attemptsText(int attempts) {
    if (attempts < 0) return "an unknown number of PUK attempts";
    return attempts == 1 ? "one PUK attempt" : std::to_string(attempts) + " PUK attempts";
}

void puk(sCliContext& context, const sPinOptions& options) {
    const sPlaces& places = context.places;
    const int slot = chooseSlot(places, options.slot);
    requireDaemon(places, slot);
    const sSimView sim = simView(places, slot);
    if (!sim.wantsPuk())
        fail("the SIM does not ask for its PUK; SIM state: " +
             (sim.status.empty() ? "not known" : sim.status));
    context.out << "The SIM has " << attemptsText(sim.pukAttempts)
                << " left. After the last wrong PUK it can never be used again.\n"
                << std::flush;
    if (sim.pukAttempts == 1 && !options.force)
        fail("not tried: only one attempt is left; use --force to try anyway");
    cSecret pukSecret;
    askPuk(pukSecret);
    cSecret pin;
    askNewPin(pin);
    // The PUK last, because the daemon acts when it appears.
    writeSimFile(places, pinRequestPath(slot), pin.data(), pin.size());
    writeSimFile(places, pukFilePath(slot), pukSecret.data(), pukSecret.size());
    waitUntilTaken(context, slot, options,
                   {pukFilePath(slot),
                    {pukFilePath(slot), pinRequestPath(slot)},
                    "the SIM is ready",
                    &sSimView::pukAttempts});
}

// ---- command line

using tAction = void (*)(sCliContext& context, const sPinOptions& options);

struct sPinRow {
    const char* name;
    const char* description;
    tAction action;
    const char* footer;
};

const sPinRow ROWS[] = {
    {"set", "Store the PIN that unlocks the SIM.", set,
     "If the SIM is locked now, the daemon tries the PIN at once. It deletes a PIN\n"
     "that the SIM refuses.\n"
     "Example:\n  cellslot pin set -p 2 <pin.txt"},
    {"change", "Change the SIM's PIN.", change,
     "Needs the present PIN, stored with pin set. If the lock is off, it is switched\n"
     "on.\n"
     "Example:\n  cellslot pin change <new-pin.txt"},
    {"enable", "Switch the PIN lock on.",
     [](sCliContext& context, const sPinOptions& options) {
         switchLock(context, options, PIN_REQUEST_ENABLE);
     },
     "Needs the PIN that was stored with pin set.\nExample:\n  cellslot pin enable -p 2"},
    {"disable", "Switch the PIN lock off.",
     [](sCliContext& context, const sPinOptions& options) {
         switchLock(context, options, PIN_REQUEST_DISABLE);
     },
     "Needs the PIN that was stored with pin set.\nExample:\n  cellslot pin disable -p 2"},
    {"puk", "Unblock the SIM with its PUK, and set a new PIN.", puk,
     "Asks for the PUK and the new PIN, or reads them from standard input, one per\n"
     "line.\n"
     "Example:\n  cellslot pin puk <puk-and-new-pin.txt"},
};

void addAction(const cSubcommand& pin, sCliContext& context, const sPinRow& row) {
    const cSubcommand command = pin.add(row.name, row.description);
    const auto options = std::make_shared<sPinOptions>();
    addSlotOption(command, options->slot);
    command.option("-t,--timeout", options->timeoutS, "seconds to wait; 0: do not wait [60]", "S");
    command.flag("--force", options->force, "use even the last remaining attempt");
    command.footer(row.footer);
    command.action([options, &context, &row] { row.action(context, *options); });
}

}  // namespace

void addPinCommand(const cSubcommand& app, sCliContext& context) {
    const cSubcommand pin = app.add("pin", "Set, change or unblock the SIM's PIN.");
    pin.requireSubcommand();
    for (const sPinRow& row : ROWS)
        addAction(pin, context, row);
    pin.footer(
        "Type PINs when asked, without echo, or pass them on standard input, one per\n"
        "line. The command line takes none, because other users could see them there.\n"
        "Examples:\n"
        "  cellslot pin set\n"
        "  cellslot pin change -p 2 <new-pin.txt");
}
