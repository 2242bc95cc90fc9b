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

// A SIM that was refused is asked for again and again by a set-up that takes some seconds.
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
    if (!isPin(pin)) throw cFailure(eExitStatus::USAGE, "a PIN has 4 to 8 digits; nothing written");
}

// Typed blind, so typed twice; a program does not err like that.
void askNewPin(cSecret& pin) {
    askPin("New PIN: ", pin);
    if (isatty(STDIN_FILENO) == 0) return;
    cSecret again;
    ask("New PIN again: ", again);
    if (!(again == pin))
        throw cFailure(eExitStatus::USAGE, "the two are not the same; nothing written");
}

void askPuk(cSecret& puk) {
    ask("PUK: ", puk);
    if (!isPuk(puk)) throw cFailure(eExitStatus::USAGE, "a PUK has 8 digits; nothing written");
}

// ---- what came of it

// Of the PIN or of the PUK, whichever was used.
std::string attemptsLeft(int attempts) {
    return attempts < 0 ? "" : "; attempts left: " + std::to_string(attempts);
}

// The first status that the daemon writes after it took a request tells the outcome.
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
        // The daemon asks the SIM what is left of its attempts after it has told the outcome.
        waitForNextStatus(context.places, slot);
        fail(sim.outcome + attemptsLeft(simView(context.places, slot).*attempts));
    }
}

// What was handed to the daemon.
struct sRequest {
    std::string path;                    // which it empties when it takes it
    std::vector<std::string> withdrawn;  // all that would otherwise be acted on some time later
    std::string nothingSaid;             // what it means when the daemon has no word about it
    int sSimView::*attempts;
};

void waitUntilTaken(sCliContext& context, int slot, const sPinOptions& options,
                    const sRequest& request) {
    const sPlaces& places = context.places;
    if (options.timeoutS == 0) {
        context.out << "handed to the daemon\n";
        return;
    }
    const cInterruption interruption;
    if (!waitFor(options.timeoutS, [&] { return isEmptied(places, request.path); })) {
        for (const std::string& path : request.withdrawn)
            unlink(places.at(path).c_str());
        throw cFailure(eExitStatus::TIMED_OUT,
                       "the daemon did not take it, it was taken back; the SIM is: " +
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
        "the SIM has one attempt left: a wrong PIN blocks it until the PUK is entered; --force "
        "tries it nevertheless");
}

// A locked SIM is tried at once. That it failed shows in an emptied file, or in another outcome.
void waitUntilTried(sCliContext& context, int slot, const sPinOptions& options,
                    const std::string& outcomeBefore) {
    const sPlaces& places = context.places;
    const auto isTried = [&] {
        const sSimView sim = simView(places, slot);
        return sim.isReady() || isEmptied(places, pinFilePath(slot)) ||
               sim.outcome != outcomeBefore;
    };
    if (!waitFor(options.timeoutS, isTried))
        throw cFailure(eExitStatus::TIMED_OUT, "stored, but the daemon has not tried it yet");
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
        context.out << "stored; the daemon uses it when the SIM asks for it\n";
}

// ---- change, enable, disable

// The daemon proves itself to the SIM with the stored PIN.
int requireReady(const sPlaces& places, const sPinOptions& options) {
    const int slot = chooseSlot(places, options.slot);
    requireDaemon(places, slot);
    const sSimView sim = simView(places, slot);
    if (!sim.isReady())
        fail("the SIM is not ready" + (sim.status.empty() ? "" : ", but: " + sim.status) +
             "; cellslot status shows more");
    if (sim.pinAttempts == 1 && !options.force)
        fail(
            "the SIM has one attempt left: if the stored PIN is wrong, it is blocked until the PUK "
            "is entered; --force tries it nevertheless");
    if (!hasUsablePin(places, slot))
        fail("the daemon needs the present PIN for it; give it first: cellslot pin set -p " +
             std::to_string(slot));
    return slot;
}

void change(sCliContext& context, const sPinOptions& options) {
    const int slot = requireReady(context.places, options);
    cSecret pin;
    askNewPin(pin);
    writeSimFile(context.places, pinRequestPath(slot), pin.data(), pin.size());
    waitUntilTaken(context, slot, options, "the PIN is this one already");
}

void switchLock(sCliContext& context, const sPinOptions& options, const char* word) {
    const int slot = requireReady(context.places, options);
    writeSimFile(context.places, pinRequestPath(slot), word, strlen(word));
    waitUntilTaken(context, slot, options,
                   std::string("nothing to do, it is ") + word + "d already");
}

// ---- puk

std::string attemptsText(int attempts) {
    if (attempts < 0) return "an unknown number of attempts";
    return attempts == 1 ? "one attempt" : std::to_string(attempts) + " attempts";
}

void puk(sCliContext& context, const sPinOptions& options) {
    const sPlaces& places = context.places;
    const int slot = chooseSlot(places, options.slot);
    requireDaemon(places, slot);
    const sSimView sim = simView(places, slot);
    if (!sim.wantsPuk())
        fail("the SIM does not ask for its PUK, it is: " +
             (sim.status.empty() ? "not known" : sim.status));
    context.out << "The SIM has " << attemptsText(sim.pukAttempts)
                << " with its PUK left. After the last wrong one it can never be used again.\n"
                << std::flush;
    if (sim.pukAttempts == 1 && !options.force)
        fail("not tried, this is the last attempt; --force tries it nevertheless");
    cSecret pukSecret;
    askPuk(pukSecret);
    cSecret pin;
    askNewPin(pin);
    // The PUK last: it is what the daemon waits for.
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
     "A SIM that is locked now is tried at once. A PIN that it refuses is forgotten.\n"
     "Example:\n  cellslot pin set -p 2 <pin.txt"},
    {"change", "Change the SIM's PIN.", change,
     "The present PIN is the one of pin set. The lock is switched on if it is off.\n"
     "Example:\n  cellslot pin change <new-pin.txt"},
    {"enable", "Switch the PIN lock on.",
     [](sCliContext& context, const sPinOptions& options) {
         switchLock(context, options, PIN_REQUEST_ENABLE);
     },
     "The PIN is the one of pin set.\nExample:\n  cellslot pin enable -p 2"},
    {"disable", "Switch the PIN lock off.",
     [](sCliContext& context, const sPinOptions& options) {
         switchLock(context, options, PIN_REQUEST_DISABLE);
     },
     "The PIN is the one of pin set.\nExample:\n  cellslot pin disable -p 2"},
    {"puk", "Unblock the SIM with its PUK, and set a new PIN.", puk,
     "PUK and new PIN are asked for; from standard input: one line each.\n"
     "Example:\n  cellslot pin puk <puk-and-new-pin.txt"},
};

void addAction(CLI::App& pin, sCliContext& context, const sPinRow& row) {
    CLI::App* command = pin.add_subcommand(row.name, row.description);
    const auto options = std::make_shared<sPinOptions>();
    addSlotOption(*command, options->slot);
    command->add_option("-t,--timeout", options->timeoutS, "wait for it, seconds; 0: do not [60]")
        ->type_name("S");
    command->add_flag("--force", options->force, "also with the last attempt that is left");
    command->footer(row.footer);
    command->callback([options, &context, &row] { row.action(context, *options); });
}

}  // namespace

void addPinCommand(CLI::App& app, sCliContext& context) {
    CLI::App* pin = app.add_subcommand("pin", "Set and change the SIM's PIN.");
    pin->require_subcommand(1);
    for (const sPinRow& row : ROWS)
        addAction(*pin, context, row);
    pin->footer(
        "PINs are typed unseen, or read from standard input, one a line. Examples:\n"
        "  cellslot pin set\n"
        "  cellslot pin change -p 2 <new-pin.txt\n"
        "They are never on the command line, where other users could see them.");
}
