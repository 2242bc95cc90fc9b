// What comes from the broker: a command, whatever it is, is judged, stored, executed at most once
// and answered with messages that fit.

#include <cstdlib>

#include "agent/command_desk.h"
#include "agent/execution.h"
#include "agent/permission.h"

namespace {

constexpr size_t MESSAGE_MAX = 64 * 1024;

sAgentConfig everythingAllowed() {
    return parseAgentConfig(
        "COMMANDS=data reload sms at doctor history report config\nAT_COMMANDS=AT+CSQ AT#MONI*\n");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const sAgentConfig config = everythingAllowed();
    static cAgentStore* const store = [] {
        static char folder[] = "/dev/shm/cellslot-fuzz-XXXXXX";
        auto* made = new cAgentStore(mkdtemp(folder));
        std::string note;
        std::string error;
        if (!made->open(note, error)) abort();
        return made;
    }();
    static sAgentClock clock{CLOCK_SET_AFTER + 100000, 1000};
    // As many as a day brings: what is remembered is forgotten again.
    clock.wall += DEADLINE_MAX_S + 1;
    clock.runS += DEADLINE_MAX_S + 1;
    std::string text(reinterpret_cast<const char*>(data), size);
    // Otherwise each would be too late.
    sParsedCommand parsed = parseCommand(text);
    if (parsed.use == eCommandUse::GOOD) {
        parsed.command.deadline = clock.wall + 60;
        text = commandText(parsed.command);
    }
    cCommandDesk desk(config, *store, [](const std::string&) {});
    desk.take(text, clock);
    desk.take(text, clock);
    int runs = 0;
    while (const auto command = desk.start(clock)) {
        ++runs;
        if (!whyNotAllowed(config, *command).empty()) abort();
        // Words are kept apart whatever they contain.
        for (const std::string& word : wordsOf("cellslot", *command))
            if (word.find('\0') != std::string::npos) abort();
        desk.end(*command, {eResult::DONE, command->text, 0, text, false}, clock);
    }
    if (runs > 1) abort();
    while (const auto message = store->takeNext()) {
        if (message->text.size() > MESSAGE_MAX || !parseResult(message->text)) abort();
        store->noteDelivered(message->number);
    }
    return 0;
}
