#include "cli/doctor/doctor_command.h"

#include <algorithm>
#include <memory>
#include <ostream>

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_name.h"
#include "cli/base/slot_option.h"
#include "cli/doctor/doctor_host_checks.h"
#include "cli/doctor/doctor_slot_checks.h"
#include "cli/doctor/modem_checks.h"

namespace {

constexpr size_t SUBJECT_WIDTH = 11;

struct sDoctorOptions {
    int slot = SLOT_NOT_GIVEN;
    std::string device;
    std::string gpsDevice;
    std::string interface;
    bool quiet = false;
    bool askModem = false;
};

const char* healthText(eHealth health) {
    switch (health) {
        case eHealth::FINE:
            return "  ok      ";
        case eHealth::NOTE:
            return "  note    ";
        case eHealth::BROKEN:
            return "  BROKEN  ";
    }
    return "";
}

struct sCount {
    size_t notes = 0;
    size_t broken = 0;
};

void print(std::ostream& out, const sFinding& finding, bool quiet, sCount& count) {
    if (finding.health == eHealth::NOTE) ++count.notes;
    if (finding.health == eHealth::BROKEN) ++count.broken;
    if (quiet && finding.health == eHealth::FINE) return;
    out << healthText(finding.health) << fitTo(finding.subject, SUBJECT_WIDTH)
        << printableLine(finding.text) << "\n";
    if (!finding.mend.empty())
        out << std::string(10 + SUBJECT_WIDTH, ' ') << "-> " << printableLine(finding.mend) << "\n";
}

void runChecks(sCliContext& context, const std::vector<tCheck>& checks, const sSlotSetup& setup,
               bool quiet, sCount& count) {
    for (const tCheck check : checks)
        for (const sFinding& finding : check(context.places, setup))
            print(context.out, finding, quiet, count);
}

sSlotSetup setupOf(const sPlaces& places, int slot, const sDoctorOptions& options) {
    sSlotSetup setup = findSlotSetup(places, slot);
    if (!options.device.empty()) setup.device = options.device;
    if (!options.gpsDevice.empty()) setup.gpsDevice = options.gpsDevice;
    if (!options.interface.empty()) setup.interface = options.interface;
    return setup;
}

void run(sCliContext& context, const sDoctorOptions& options) {
    const std::vector<int> slots = options.slot == SLOT_NOT_GIVEN ? knownSlots(context.places)
                                                                  : std::vector<int>{options.slot};
    std::vector<sSlotSetup> setups;
    setups.reserve(slots.size());
    for (const int slot : slots)
        setups.push_back(setupOf(context.places, slot, options));
    // The tools of a running daemon, if there is one.
    const auto running = std::find_if(setups.begin(), setups.end(),
                                      [](const sSlotSetup& setup) { return setup.pid != 0; });
    sCount count;
    context.out << "host\n";
    runChecks(context, hostChecks(), running == setups.end() ? setups.front() : *running,
              options.quiet, count);
    for (const sSlotSetup& setup : setups) {
        context.out << slotName(setup.slot) << "\n";
        runChecks(context, slotChecks(), setup, options.quiet, count);
        runChecks(context, {options.askModem ? askAboutModem : checkModemHabits}, setup,
                  options.quiet, count);
    }
    context.out << std::to_string(count.broken) << " broken, " << std::to_string(count.notes)
                << (count.notes == 1 ? " note\n" : " notes\n");
    if (count.broken != 0) context.exitStatus = eExitStatus::FAILED;
}

}  // namespace

void addDoctorCommand(const cSubcommand& app, sCliContext& context) {
    const cSubcommand command = app.add("doctor", "Check the host and show how to fix problems.");
    const auto options = std::make_shared<sDoctorOptions>();
    addSlotOption(command, options->slot, "only this slot [all slots in use]");
    command.option("-d,--device", options->device, "the modem's AT port [the daemon's]", "DEV");
    command.option("-g,--gps", options->gpsDevice, "the modem's GPS port [the daemon's]", "DEV");
    command.option("-i,--interface", options->interface, "the network interface [the daemon's]",
                   "IF");
    command.flag("-q,--quiet", options->quiet, "hide what is ok");
    command.flag("--ask-modem", options->askModem, "also ask the modem about SIM and addresses");
    command.footer(
        "Changes nothing. Run it as root, because other users cannot see everything.\n"
        "-> shows how to fix a finding. Exit status 1 if something is broken.\n"
        "Example:\n"
        "  cellslot doctor -q -p 1");
    command.action([options, &context] { run(context, *options); });
}
