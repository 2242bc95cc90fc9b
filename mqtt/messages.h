#ifndef MQTT_MESSAGES_H
#define MQTT_MESSAGES_H

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>

#include "mqtt/message_id.h"

// What a gateway says without being asked, as JSON; docs/fleet.md describes it for people, and
// docs/fleet/schemas for machines. A reader ignores fields that it does not know. The parse
// functions give nothing for a text that is not such a message; texts that are longer than said
// count as empty.

// Whether the gateway is at the broker. Retained; also its last will.
struct sAvailability {
    bool isOnline = false;
    time_t time = 0;        // when it was sent; of a last will: when the connection was made
    std::string version;    // of the agent
    int everyS = 0;         // the next sign of life comes within so many seconds
    long long waiting = 0;  // messages that are not yet sent
    std::string stream;     // see sMessageId
    std::string reason;     // offline: AVAILABILITY_...
};
constexpr const char* AVAILABILITY_LOST = "lost";        // no sign of life; said by the broker
constexpr const char* AVAILABILITY_STOPPED = "stopped";  // the agent was ended

std::string availabilityText(const sAvailability& availability);
std::optional<sAvailability> parseAvailability(const std::string& text);

// A slot's state: the object of "cellslot status --json" for this slot, and when it was made.
// Retained.
std::string slotStatusText(time_t time, const std::string& statusJson);
struct sSlotStatus {
    time_t time = 0;
    std::string slotJson;  // the object of the slot
};
std::optional<sSlotStatus> parseSlotStatus(const std::string& text);

// Something that has happened.
struct sWireEvent {
    sMessageId id;
    time_t time = 0;
    std::string kind;   // a word for programs, up to 40 octets; does not change between versions
    std::string text;   // a sentence, up to 400
    std::string cause;  // of an outage and of its end: the id of the problem
    std::optional<long long> seconds;  // how long what has ended with this event lasted
    std::string signalJson;            // WIRE_EVENT_SIGNAL: as "signal" in the status
    // WIRE_EVENT_DROPPED: numbers of the stream from first to last, of which count are missing.
    std::optional<uint64_t> first, last, count;
};
// Kinds beside those of the slot's own events.
constexpr const char* WIRE_EVENT_SIGNAL = "signal";
constexpr const char* WIRE_EVENT_AGENT = "agent";
constexpr const char* WIRE_EVENT_CONFIG = "config";
constexpr const char* WIRE_EVENT_DROPPED = "dropped";

std::string eventText(const sWireEvent& event);
std::optional<sWireEvent> parseEvent(const std::string& text);

// A received text message.
struct sTextMessage {
    sMessageId id;
    time_t time = 0;       // when it was put into the spool
    std::string from;      // up to 80 octets
    std::string text;      // up to 16 kB
    std::string received;  // the time that the message itself carries, as its file has it; up to 80
};
std::string textMessageText(const sTextMessage& message);
std::optional<sTextMessage> parseTextMessage(const std::string& text);

#endif
