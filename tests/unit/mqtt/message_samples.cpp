// Prints one of each message as the programs make it, a line each: schema, blank, message. What
// checks the schemas reads them.
#include <iostream>

#include "cli/base/utc_time.h"
#include "cli/status/status_json.h"
#include "mqtt/command.h"
#include "mqtt/messages.h"
#include "tests/unit/cli/fixture.h"

namespace {

constexpr time_t NOW = RECORDED_S;
const sMessageId ID{"1f0c9a2b", 42};

void print(const char* schema, const std::string& message) {
    std::cout << schema << " " << message << "\n";
}

void printAvailabilities() {
    sAvailability online;
    online.isOnline = true;
    online.time = NOW;
    online.version = "1.0.17";
    online.everyS = 900;
    online.stream = ID.stream;
    print("availability", availabilityText(online));
    sAvailability offline;
    offline.time = NOW;
    for (const char* reason : {AVAILABILITY_LOST, AVAILABILITY_STOPPED}) {
        offline.reason = reason;
        print("availability", availabilityText(offline));
    }
}

void printStatuses() {
    for (const char* recording :
         {"healthy", "denied", "modem_gone", "no_sim", "pin_locked", "puk_locked", "roaming",
          "searching", "session_refused", "wcdma"}) {
        cStatusHost host;
        host.addSlot(1, recording);
        print("status", slotStatusText(NOW, statusJson({host.report(1)}, eJsonLayout::ONE_LINE)));
    }
    const cStatusHost empty;
    print("status", slotStatusText(NOW, statusJson({empty.report(2)}, eJsonLayout::ONE_LINE)));
}

void printEvents() {
    sWireEvent event;
    event.id = ID;
    event.time = NOW;
    event.kind = "offline";
    event.cause = "searching";
    event.text = "No network yet; the modem is searching.";
    event.seconds = 75;
    print("event", eventText(event));
    sWireEvent dropped;
    dropped.id = ID;
    dropped.time = NOW;
    dropped.kind = WIRE_EVENT_DROPPED;
    dropped.text = "3 signal samples had no place.";
    dropped.first = 1;
    dropped.last = 9;
    dropped.count = 3;
    print("event", eventText(dropped));
    print("sms",
          textMessageText({ID, NOW, "+491701234567", "Pump stopped", "26/11/22,11:59:58+04"}));
}

void printCommands() {
    sCommand command;
    command.id = "20261122-anna.1";
    command.by = "anna@desk";
    command.deadline = NOW;
    command.name = COMMAND_DOCTOR;
    print("command", commandText(command));
    command.slot = 1;
    for (const char* name : {COMMAND_DOCTOR, COMMAND_RELOAD, COMMAND_REPORT}) {
        command.name = name;
        print("command", commandText(command));
    }
    command.name = COMMAND_DATA;
    command.want = "off";
    print("command", commandText(command));
    command.name = COMMAND_SMS;
    command.to = "+491701234567";
    command.text = "status?";
    print("command", commandText(command));
    command.name = COMMAND_AT;
    command.at = "AT#RFSTS";
    print("command", commandText(command));
    command.name = COMMAND_HISTORY;
    command.since = "24h";
    command.view = "outages";
    print("command", commandText(command));
    command.name = COMMAND_CONFIG;
    command.file = "OPERATOR=auto\n";
    command.confirmS = CONFIRM_DEFAULT_S;
    print("command", commandText(command));
}

void printResults() {
    sResult result;
    result.id = ID;
    result.time = NOW;
    result.command = "20261122-anna.1";
    result.name = COMMAND_DOCTOR;
    result.by = "anna@desk";
    result.text = "Nothing is wrong.";
    for (const eResult status :
         {eResult::DONE, eResult::FAILED, eResult::REFUSED, eResult::EXPIRED, eResult::REPEATED,
          eResult::INTERRUPTED, eResult::STARTED, eResult::CONFIRMED, eResult::ROLLED_BACK}) {
        result.status = status;
        print("result", resultText(result));
    }
    result.exit = 1;
    result.output = "slot 1: all is well\n";
    print("result", resultText(result));
    result.output = std::string(RESULT_PART_MAX, '\xff');
    result.isBinary = true;
    result.part = 1;
    result.parts = 2;
    print("result", resultText(result));
}

}  // namespace

int main() {
    printAvailabilities();
    printStatuses();
    printEvents();
    printCommands();
    printResults();
}
