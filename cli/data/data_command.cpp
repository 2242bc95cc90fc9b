#include "cli/data/data_command.h"

#include <memory>
#include <ostream>

#include "cli/base/daemon_process.h"
#include "cli/base/data_override.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_name.h"
#include "cli/base/slot_option.h"
#include "cli/base/waiting.h"
#include "cli/status/no_daemon.h"
#include "cli/status/plain_words.h"
#include "cli/status/slot_report.h"
#include "cli/status/status_value.h"
#include "published/status_values.h"

namespace {

constexpr unsigned WAIT_S = 30;

struct sDataOptions {
    std::string word;
    int slot = SLOT_NOT_GIVEN;
    unsigned timeoutS = WAIT_S;
};

struct sWord {
    const char* word;
    eDataOverride value;
    const char* meaning;
};

const sWord WORDS[] = {
    {"on", eDataOverride::ON, "data is on, regardless of the configuration"},
    {"off", eDataOverride::OFF, "data is off, regardless of the configuration"},
    {"auto", eDataOverride::AUTO, "the configuration decides whether data is on"},
    {"power-off", eDataOverride::POWER_OFF, "the modem is switched off and its daemon ends"},
};

const sWord& meant(const std::string& word) {
    for (const sWord& row : WORDS)
        if (row.word == word) return row;
    throw cFailure(eExitStatus::USAGE, "the state must be on, off, auto or power-off");
}

// The state that the daemon should reach; AUTO if that is not known.
eDataOverride goalOf(const sPlaces& places, int slot, eDataOverride value) {
    if (value != eDataOverride::AUTO) return value;
    switch (reportSlot(places, slot, currentMoment()).data.value) {
        case eCONF_DATA_CONNECT_ENABLED:
            return eDataOverride::ON;
        case eCONF_DATA_CONNECT_DISABLED:
            return eDataOverride::OFF;
        case eCONF_DATA_CONNECT_MODEM_OFF:
            return eDataOverride::POWER_OFF;
        case eCONF_DATA_CONNECT_UNKNOWN:
        case eCONF_DATA_CONNECT_HOLDOFF:
        case eCONF_DATA_CONNECT_TEMP_DISABLED:
        case eCONF_DATA_CONNECT_TEMP_ENABLED:
        case eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM:
        case eCONF_DATA_CONNECT_TEMP_MODEM_OFF:
            break;
    }
    return eDataOverride::AUTO;
}

bool isReached(const sPlaces& places, int slot, eDataOverride goal) {
    const bool runs = runningDaemon(places, slot) != 0;
    const bool connected = statusValue(places, slot, STATUS_QMI_STATE) == SESSION_CONNECTED;
    switch (goal) {
        case eDataOverride::AUTO:
            return true;
        case eDataOverride::ON:
            return runs && connected;
        case eDataOverride::OFF:
            return runs && !connected;
        case eDataOverride::POWER_OFF:
            return !runs;
    }
    return true;
}

std::string state(const sPlaces& places, int slot) {
    if (runningDaemon(places, slot) == 0) return "the daemon has ended";
    const sStatusRecord record = readStatusFile(places, slot).record;
    const std::string connection = record.text(STATUS_QMI_STATE);
    const std::string shown = connection.empty() ? "not known yet" : printableLine(connection);
    if (connection == SESSION_CONNECTED ||
        record.number(STATUS_LAST_CONNECT_ERROR_E).value_or(0) == 0)
        return "connection " + shown;
    return "connection " + shown + "; last error: " + connectErrorWords(record).what;
}

void run(sCliContext& context, const sDataOptions& options) {
    const sPlaces& places = context.places;
    const sWord& word = meant(options.word);
    const int slot = chooseSlot(places, options.slot);
    const bool runs = runningDaemon(places, slot) != 0;
    setDataOverride(places, slot, word.value);
    if (!runs)
        throw cFailure(eExitStatus::NO_DAEMON,
                       noDaemonText(slot) + "; after its next start, " + word.meaning);
    context.out << slotName(slot) << ": " << word.meaning << "\n" << std::flush;
    const eDataOverride goal = goalOf(places, slot, word.value);
    const bool done = waitFor(options.timeoutS, [&] { return isReached(places, slot, goal); });
    context.out << slotName(slot) << ": " << state(places, slot) << "\n";
    if (!done && options.timeoutS != 0)
        throw cFailure(
            eExitStatus::TIMED_OUT,
            "not reached within " + std::to_string(options.timeoutS) + " s; see cellslot status");
}

}  // namespace

void addDataCommand(const cSubcommand& app, sCliContext& context) {
    const cSubcommand command = app.add("data", "Switch the data connection on or off.");
    const auto options = std::make_shared<sDataOptions>();
    command.option("STATE", options->word, "on, off, auto or power-off")
        .required()
        .oneOf({"on", "off", "auto", "power-off"});
    addSlotOption(command, options->slot);
    command.option("-t,--timeout", options->timeoutS, "seconds to wait; 0: do not wait [30]", "S");
    command.footer(
        "on, off and power-off stay in force until auto or a restart of the host. on\n"
        "takes effect once the host has booted. After power-off, use auto before you\n"
        "start the daemon again; otherwise it switches the modem off once more.\n"
        "Examples:\n"
        "  cellslot data off\n"
        "  cellslot data on -p 2 --timeout 60");
    command.action([options, &context] { run(context, *options); });
}
