#include "le910sim/faults.h"

#include <algorithm>
#include <map>
#include <random>

#include "le910sim/json_reader.h"
#include "le910sim/text.h"

namespace le910sim {

namespace {

const std::map<std::string, eFaultKind> KINDS = {
    {"silence", eFAULT_SILENCE}, {"error", eFAULT_ERROR},   {"cme", eFAULT_CME},
    {"cms", eFAULT_CMS},         {"answer", eFAULT_ANSWER}, {"raw", eFAULT_RAW},
    {"hangup", eFAULT_HANGUP},   {"delay", eFAULT_DELAY},   {"pieces", eFAULT_PIECES},
    {"garbage", eFAULT_GARBAGE}, {"urc", eFAULT_URC},
};

const std::map<std::string, eFaultPlace> PLACES = {
    {"before", ePLACE_BEFORE},
    {"inside", ePLACE_INSIDE},
    {"after", ePLACE_AFTER},
    {"instead", ePLACE_INSTEAD},
};

template <typename T>
std::string nameOf(const std::map<std::string, T>& names, T value) {
    for (const auto& entry : names) {
        if (entry.second == value) return entry.first;
    }
    return "";
}

template <typename T>
T choice(cJsonReader& reader, const char* key, const std::map<std::string, T>& names, T fallback) {
    if (!reader.has(key)) return fallback;
    const std::string text = reader.requiredText(key);
    const auto found = names.find(text);
    if (found == names.end()) reader.fail(key, "is '" + text + "', which is not known");
    return found->second;
}

void readTarget(cJsonReader& reader, sFault& fault) {
    if (reader.has("match") == reader.has("prefix")) {
        reader.fail("match", "or 'prefix' must be given, one of the two");
    }
    fault.prefix = reader.has("prefix");
    reader.read(fault.prefix ? "prefix" : "match", fault.match);
    reader.read("port", fault.port);
    if (!fault.port.empty() && fault.port != "at" && fault.port != "gps") {
        reader.fail("port", "is neither 'at' nor 'gps'");
    }
    std::string stage = "command";
    reader.read("stage", stage);
    if (stage != "command" && stage != "data") {
        reader.fail("stage", "is neither 'command' nor 'data'");
    }
    fault.dataStage = stage == "data";
}

// Reads the keys that the kind needs.
void readKind(cJsonReader& reader, sFault& fault) {
    reader.required("kind");
    fault.kind = choice(reader, "kind", KINDS, fault.kind);
    switch (fault.kind) {
        case eFAULT_SILENCE:
            fault.echo = false;
            break;
        case eFAULT_ERROR:
            break;
        case eFAULT_CME:
        case eFAULT_CMS:
            reader.required("number");
            reader.readInt("number", fault.number, 0, 9999);
            break;
        case eFAULT_ANSWER:
            reader.read("lines", fault.lines);
            fault.final = "OK";
            reader.read("final", fault.final);
            break;
        case eFAULT_RAW:
            fault.raw = reader.requiredText("raw");
            break;
        case eFAULT_HANGUP:
            fault.echo = false;
            fault.delayMs = 3000;
            reader.readInt("away_ms", fault.delayMs, 0, TIME_MAX_MS);
            break;
        case eFAULT_DELAY:
            reader.required("delay_ms");
            reader.readInt("delay_ms", fault.delayMs, 0, TIME_MAX_MS);
            break;
        case eFAULT_PIECES:
            fault.delayMs = 50;
            reader.readInt("pieces", fault.pieces, 2, 1000);
            reader.readInt("gap_ms", fault.delayMs, 0, TIME_MAX_MS);
            break;
        case eFAULT_GARBAGE:
            reader.required("bytes");
            reader.readInt("bytes", fault.bytes, 1, 100000);
            reader.readInt("seed", fault.seed, 0, UINT32_MAX);
            fault.place = choice(reader, "place", PLACES, ePLACE_BEFORE);
            break;
        case eFAULT_URC:
            fault.lines = {reader.requiredText("line")};
            fault.place = choice(reader, "place", PLACES, ePLACE_BEFORE);
            if (fault.place == ePLACE_INSTEAD) reader.fail("place", "cannot be 'instead' here");
            break;
    }
}

// The position after the first line of an answer, or its end if it has only a final code.
size_t insidePosition(const std::string& answer) {
    const size_t end = answer.find("\r\n", 2);
    return end == std::string::npos ? answer.size() : end + 2;
}

std::string placed(const std::string& answer, const std::string& extra, eFaultPlace place) {
    switch (place) {
        case ePLACE_BEFORE:
            return extra + answer;
        case ePLACE_AFTER:
            return answer + extra;
        case ePLACE_INSTEAD:
            return extra;
        case ePLACE_INSIDE:
            break;
    }
    std::string result = answer;
    return result.insert(insidePosition(answer), extra);
}

bool matches(const sFault& fault, const std::string& port, const std::string& command,
             bool dataStage) {
    if (!fault.port.empty() && fault.port != port) return false;
    if (fault.dataStage != dataStage) return false;
    return fault.prefix ? startsWith(command, fault.match) : command == fault.match;
}

}  // namespace

sFault readFault(const nlohmann::json& order, const std::string& where, uint64_t nowMs) {
    cJsonReader reader(order, where);
    sFault fault;
    reader.value("op");
    readTarget(reader, fault);
    readKind(reader, fault);
    reader.read("execute", fault.execute);
    reader.read("echo", fault.echo);
    reader.readInt("skip", fault.skip, 0, 1000000);
    reader.readInt("count", fault.left, 1, 1000000);
    uint64_t forMs = 0;
    reader.readInt("for_ms", forMs, 1, TIME_MAX_MS);
    if (forMs != 0) fault.untilMs = nowMs + forMs;
    reader.finish();
    return fault;
}

nlohmann::json faultToJson(const sFault& fault) {
    nlohmann::json json = {{"id", fault.id},
                           {fault.prefix ? "prefix" : "match", fault.match},
                           {"kind", nameOf(KINDS, fault.kind)},
                           {"stage", fault.dataStage ? "data" : "command"},
                           {"hits", fault.hits}};
    if (!fault.port.empty()) json["port"] = fault.port;
    if (fault.left >= 0) json["left"] = fault.left;
    if (fault.untilMs != 0) json["until_ms"] = fault.untilMs;
    return json;
}

int cFaultList::add(sFault fault) {
    fault.id = m_nextId++;
    m_faults.push_back(fault);
    return fault.id;
}

size_t cFaultList::remove(int id) {
    const size_t before = m_faults.size();
    const auto gone = [id](const sFault& fault) { return id == 0 || fault.id == id; };
    m_faults.erase(std::remove_if(m_faults.begin(), m_faults.end(), gone), m_faults.end());
    return before - m_faults.size();
}

std::vector<sFault> cFaultList::hit(const std::string& port, const std::string& command,
                                    bool dataStage, uint64_t nowMs) {
    std::vector<sFault> found;
    bool replaced = false;
    for (sFault& fault : m_faults) {
        if (!matches(fault, port, command, dataStage)) continue;
        if (fault.left == 0 || (fault.untilMs != 0 && nowMs >= fault.untilMs)) continue;
        if (fault.replaces() && replaced) continue;
        if (fault.skip > 0) {
            --fault.skip;
            continue;
        }
        if (fault.left > 0) --fault.left;
        ++fault.hits;
        replaced = replaced || fault.replaces();
        found.push_back(fault);
    }
    return found;
}

std::vector<sPortion> shapeAnswer(const std::vector<sFault>& faults, const std::string& answer) {
    std::string text = answer;
    uint64_t waitMs = 0;
    const sFault* pieces = nullptr;
    for (const sFault& fault : faults) {
        if (fault.kind == eFAULT_DELAY) waitMs += fault.delayMs;
        if (fault.kind == eFAULT_PIECES) pieces = &fault;
        if (fault.kind == eFAULT_GARBAGE) {
            text = placed(text, garbage(fault.bytes, fault.seed), fault.place);
        }
        if (fault.kind == eFAULT_URC) {
            text = placed(text, "\r\n" + fault.lines[0] + "\r\n", fault.place);
        }
    }
    if (pieces == nullptr) return {{waitMs, text}};
    std::vector<sPortion> portions;
    const auto count = static_cast<size_t>(pieces->pieces);
    const size_t length = std::max<size_t>(1, (text.size() + count - 1) / count);
    for (size_t start = 0; start < text.size(); start += length) {
        portions.push_back({start == 0 ? waitMs : pieces->delayMs, text.substr(start, length)});
    }
    return portions;
}

std::string garbage(size_t count, uint32_t seed) {
    std::mt19937 generator(seed);
    std::string bytes;
    while (bytes.size() < count) {
        const auto byte = static_cast<char>(generator() & 0xFFU);
        if (byte != '\r' && byte != '\n') bytes += byte;
    }
    return bytes;
}

}  // namespace le910sim
