#ifndef OBSERVED_EVENT_H
#define OBSERVED_EVENT_H

#include <ctime>
#include <optional>
#include <string>

// What happened to a slot: one line of its journal, for people and for programs.
//   {"time":1795246938,"at":"2026-11-21T07:42:18Z","kind":"offline","cause":"searching",
//    "text":"No connection after 3 h 12 min: No network yet; the modem is searching."}
struct sEvent {
    time_t time = 0;
    std::string kind;   // a word for programs, see EVENT_...; does not change between versions
    std::string cause;  // of an outage and of its end: the id of the problem (cli/status/diagnosis)
    std::string text;   // a sentence
    // How long what has ended with this event lasted; seconds.
    std::optional<long long> durationS;
};

// The kinds. A reader ignores those that it does not know.
constexpr const char* EVENT_ONLINE = "online";      // durationS: of the outage
constexpr const char* EVENT_OFFLINE = "offline";    // durationS: of the connection
constexpr const char* EVENT_CAUSE = "cause";        // an outage got another cause
constexpr const char* EVENT_FOLLOWED = "followed";  // the daemon's status is there (again)
constexpr const char* EVENT_LOST = "lost";          // no status any more; what follows is not known
constexpr const char* EVENT_DAEMON = "daemon";      // another process of the daemon
constexpr const char* EVENT_REGISTRATION = "registration";
constexpr const char* EVENT_ROAMING = "roaming";
constexpr const char* EVENT_NETWORK = "network";  // another operator
constexpr const char* EVENT_CELL = "cell";
constexpr const char* EVENT_TECHNOLOGY = "technology";
constexpr const char* EVENT_SIM = "sim";
constexpr const char* EVENT_PIN = "pin";
constexpr const char* EVENT_MODEM = "modem";  // another modem, or it was reset
constexpr const char* EVENT_TEMPERATURE = "temperature";
constexpr const char* EVENT_CLOCK = "clock";      // the host's clock was set
constexpr const char* EVENT_HISTORY = "history";  // the history itself: start, end, damage

sEvent eventOf(time_t time, const char* kind, const std::string& text);

// One line of the journal, without a line end.
std::string eventLine(const sEvent& event);
// Nothing if the line is not one, as after a power cut or from another hand.
std::optional<sEvent> parseEventLine(const std::string& line);

#endif
