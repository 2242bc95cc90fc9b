#include "tests/unit/fleet/made_fleet.h"

#include "cli/status/status_json.h"

std::string madeOnline(time_t time, int everyS) {
    sAvailability said;
    said.isOnline = true;
    said.time = time;
    said.version = "1.0.17";
    said.everyS = everyS;
    said.stream = "1f0c9a2b";
    return availabilityText(said);
}

std::string madeOffline(const char* reason, time_t time) {
    sAvailability said;
    said.time = time;
    said.reason = reason;
    return availabilityText(said);
}

std::string madeStatus(const std::string& recording, int slot, time_t time) {
    cStatusHost host;
    host.addSlot(slot, recording);
    return slotStatusText(time, statusJson({host.report(slot)}, eJsonLayout::ONE_LINE));
}

cFleet madeFleet() {
    cFleet fleet;
    const auto add = [&fleet](const std::string& name, const std::string& availability,
                              const std::string& status) {
        fleet.take(availabilityOf(name), availability);
        fleet.take(statusOf(name), status);
    };
    add("healthy", madeOnline(), madeStatus("healthy"));
    add("roams", madeOnline(), madeStatus("roaming"));
    add("error", madeOnline(), madeStatus("no_sim"));
    add("gone", madeOffline(AVAILABILITY_LOST, RECORDED_S - 90000),
        madeStatus("healthy", 1, RECORDED_S - 11000));
    add("stopped", madeOffline(AVAILABILITY_STOPPED, RECORDED_S - 60), madeStatus("healthy"));
    add("two", madeOnline(), madeStatus("healthy"));
    fleet.take(statusOf("two", 2), madeStatus("searching", 2));
    return fleet;
}
