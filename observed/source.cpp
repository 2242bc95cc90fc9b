#include "observed/source.h"

// clang-format off
const sSource SOURCE_TABLE[SOURCES] = {
    {eSource::RSRP,        "rsrp",        "RSRP",        "dBm", eSourceKind::GAUGE,  -200,   50},
    {eSource::RSRQ,        "rsrq",        "RSRQ",        "dB",  eSourceKind::GAUGE,  -200,   50},
    {eSource::RSSI,        "rssi",        "RSSI",        "dBm", eSourceKind::GAUGE,  -200,   50},
    {eSource::RSCP,        "rscp",        "RSCP",        "dBm", eSourceKind::GAUGE,  -200,   50},
    {eSource::ECIO,        "ecio",        "Ec/Io",       "dB",  eSourceKind::GAUGE,  -200,   50},
    {eSource::CONNECTED,   "connected",   "Connected",   "",    eSourceKind::SHARE,     0,    1},
    {eSource::RECEIVED,    "received",    "Received",    "B",   eSourceKind::AMOUNT,    0, 1e12},
    {eSource::SENT,        "sent",        "Sent",        "B",   eSourceKind::AMOUNT,    0, 1e12},
    {eSource::TEMPERATURE, "temperature", "Temperature", "C",   eSourceKind::GAUGE,  -100,  200},
    {eSource::REGISTERED,  "registered",  "Registered",  "",    eSourceKind::SHARE,     0,    1},
    {eSource::MESSAGES,    "messages",    "Messages",    "",    eSourceKind::AMOUNT,    0,  1e6},
};
// clang-format on

std::optional<eSource> sourceNamed(const std::string& name) {
    for (const sSource& row : SOURCE_TABLE)
        if (name == row.name) return row.source;
    return std::nullopt;
}
