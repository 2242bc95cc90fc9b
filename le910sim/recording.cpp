#include "le910sim/recording.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "le910sim/json_reader.h"

namespace le910sim {

namespace {

using nlohmann::json;

constexpr size_t SHOWN_MAX = 60;  // characters of a wrong line in a message
constexpr size_t NESTED_MAX = 8;

const char* const PORT_KEYS[PORT_COUNT] = {"at", "gps"};

struct sKindRow {
    const char* name;
    eRecordedKind kind;
};

const sKindRow KINDS[] = {
    {"write", eRECORDED_WRITE}, {"read", eRECORDED_READ},     {"open", eRECORDED_OPEN},
    {"close", eRECORDED_CLOSE}, {"hangup", eRECORDED_HANGUP},
};

bool movesBytes(eRecordedKind kind) {
    return kind == eRECORDED_WRITE || kind == eRECORDED_READ;
}

// The bytes of a text that holds each byte as the character of the same number (Latin-1): at most
// two bytes of UTF-8 each. False if a character is above U+00FF.
bool latin1Bytes(const std::string& utf8, std::string& bytes) {
    bytes.clear();
    for (size_t at = 0; at < utf8.size(); ++at) {
        const auto first = static_cast<unsigned char>(utf8[at]);
        if (first < 0x80) {
            bytes += utf8[at];
            continue;
        }
        if (first > 0xC3 || at + 1 >= utf8.size()) return false;
        const auto second = static_cast<unsigned char>(utf8[++at]);
        bytes += static_cast<char>((first & 0x03U) << 6U | (second & 0x3FU));
    }
    return true;
}

std::string latin1Text(const std::string& bytes) {
    std::string utf8;
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        if (value < 0x80) {
            utf8 += byte;
            continue;
        }
        utf8 += static_cast<char>(0xC0U | value >> 6U);
        utf8 += static_cast<char>(0x80U | (value & 0x3FU));
    }
    return utf8;
}

// To copy or to show a value takes stack for each level.
bool isNestedTooDeep(const std::string& line) {
    size_t depth = 0;
    bool isText = false;
    for (size_t at = 0; at < line.size(); ++at) {
        const char character = line[at];
        if (isText && character == '\\') ++at;
        if (character == '"') isText = !isText;
        if (isText) continue;
        if ((character == '[' || character == '{') && ++depth > NESTED_MAX) return true;
        if ((character == ']' || character == '}') && depth > 0) --depth;
    }
    return false;
}

std::string shown(const std::string& line) {
    const std::string start = line.substr(0, SHOWN_MAX) + (line.size() > SHOWN_MAX ? "..." : "");
    return json(start).dump(-1, ' ', true, json::error_handler_t::replace);
}

// Reads a recording line by line.
class cRecordingReader {
  public:
    cRecordingReader(std::istream& input, sRecording& recording)
        : m_input(input), m_recording(recording) {}

    void read() {
        std::string line;
        while (nextLine(line))
            takeLine(line);
        if (m_recording.header.is_null()) {
            ++m_line;
            fail("the end of the file",
                 "a first line with \"recording\": " + std::to_string(RECORDING_VERSION));
        }
    }

  private:
    [[noreturn]] void fail(const std::string& found, const std::string& expected) const {
        throw std::runtime_error(m_recording.name + ":" + std::to_string(m_line) + ": found " +
                                 found + ", expected " + expected);
    }

    // False at the end of the file, also before a last line without its end: the program was
    // stopped while it wrote.
    bool nextLine(std::string& line) {
        line.clear();
        ++m_line;
        // Of the buffer: the stream itself looks at its state for each byte.
        std::streambuf& input = *m_input.rdbuf();
        for (int byte = input.sbumpc(); byte != std::streambuf::traits_type::eof();
             byte = input.sbumpc()) {
            if (byte == '\n') return true;
            line += static_cast<char>(byte);
            if (line.size() > RECORDING_LINE_MAX)
                fail("a line of more than " + std::to_string(RECORDING_LINE_MAX) + " bytes",
                     "a shorter one");
            if (++m_size > RECORDING_MAX)
                fail("a file of more than " + std::to_string(RECORDING_MAX) + " bytes",
                     "a shorter one");
        }
        --m_line;
        if (!line.empty()) m_recording.torn = true;
        return false;
    }

    void takeLine(const std::string& line) {
        if (isNestedTooDeep(line))
            fail("values that are nested more than " + std::to_string(NESTED_MAX) + " times",
                 "fewer");
        const json object = json::parse(line, nullptr, false);
        // A power cut can leave zero bytes at the end of the file.
        if (object.is_discarded() && isLastLine()) {
            m_recording.torn = true;
            return;
        }
        if (object.is_discarded() || !object.is_object())
            fail(line.empty() ? "an empty line" : shown(line), "a JSON object");
        if (object.contains("recording")) return takeHeader(object);
        if (m_recording.header.is_null())
            fail(shown(line),
                 "a first line with \"recording\": " + std::to_string(RECORDING_VERSION));
        takeEvent(object);
    }

    bool isLastLine() { return m_input.rdbuf()->sgetc() == std::streambuf::traits_type::eof(); }

    void takeHeader(const json& object) {
        if (object["recording"] != RECORDING_VERSION)
            fail("\"recording\": " + object["recording"].dump(),
                 "version " + std::to_string(RECORDING_VERSION) + ", the only one that is known");
        const json slot = object.value("slot", json());
        if (m_slot.is_null()) m_slot = slot;
        if (!slot.is_null() && slot != m_slot)
            fail("\"slot\": " + slot.dump(-1, ' ', true, json::error_handler_t::replace),
                 "slot " + m_slot.dump() + " as before: a recording is of one modem");
        const bool isSame = object.value("began", json()) == m_began;
        if (m_recording.header.is_null()) m_recording.header = object;
        if (!isSame) m_beginMs = m_lastMs;
        m_began = object.value("began", json());
    }

    uint64_t timeOf(const json& object) {
        const auto found = object.find("ms");
        if (found == object.end()) fail("no key \"ms\"", "\"ms\": milliseconds since the begin");
        if (!found->is_number_unsigned() || found->get<uint64_t>() > TIME_MAX_MS)
            fail("\"ms\": " + shown(found->dump()), "a whole number of milliseconds");
        const uint64_t ms = m_beginMs + found->get<uint64_t>();
        if (ms < m_lastMs)
            fail("\"ms\": " + found->dump() + " after " + std::to_string(m_lastMs - m_beginMs),
                 "a time that is not earlier than that of the line before");
        m_lastMs = ms;
        return ms;
    }

    void takeEvent(const json& object) {
        sRecordedEvent event;
        event.ms = timeOf(object);
        event.line = m_line;
        if (object.contains("mark")) {
            if (!object["mark"].is_string()) fail("\"mark\": " + object["mark"].dump(), "a text");
            event.mark = object;
            m_recording.events.push_back(event);
            return;
        }
        for (const ePort port : {ePORT_AT, ePORT_GPS}) {
            const auto found = object.find(PORT_KEYS[port]);
            if (found == object.end()) continue;
            event.port = port;
            takePortEvent(object, *found, event);
            return;
        }
    }

    void takePortEvent(const json& object, const json& what, sRecordedEvent& event) {
        if (!what.is_string()) fail(shown(what.dump()), "what happened at the port, as a text");
        for (const sKindRow& row : KINDS) {
            if (what.get_ref<const std::string&>() != row.name) continue;
            event.kind = row.kind;
            if (movesBytes(row.kind)) event.bytes = bytesOf(object);
            if (row.kind == eRECORDED_OPEN && object.contains("error"))
                event.kind = eRECORDED_OPEN_FAILED;
            m_recording.events.push_back(event);
            if (object.contains("cr")) splitCarriageReturn(object["cr"]);
        }
    }

    // The last byte was written so many milliseconds after the others.
    void splitCarriageReturn(const json& later) {
        sRecordedEvent end = m_recording.events.back();
        if (!later.is_number_unsigned() || later.get<uint64_t>() > TIME_MAX_MS)
            fail("\"cr\": " + shown(later.dump()), "a whole number of milliseconds");
        if (end.kind != eRECORDED_WRITE || end.bytes.size() < 2) return;
        m_recording.events.back().bytes.pop_back();
        end.bytes.erase(0, end.bytes.size() - 1);
        end.ms += later.get<uint64_t>();
        m_lastMs = end.ms;
        m_recording.events.push_back(end);
    }

    std::string bytesOf(const json& object) const {
        const auto found = object.find("data");
        if (found == object.end()) fail("no key \"data\"", "\"data\": the bytes");
        if (!found->is_string()) fail("\"data\": " + shown(found->dump()), "a text");
        std::string bytes;
        if (!latin1Bytes(found->get_ref<const std::string&>(), bytes))
            fail("a character above U+00FF", "a byte, written as the character of its number");
        return bytes;
    }

    std::istream& m_input;
    sRecording& m_recording;
    size_t m_line = 0;
    size_t m_size = 0;
    uint64_t m_lastMs = 0;
    uint64_t m_beginMs = 0;  // of the recording that the line belongs to
    json m_began;
    json m_slot;
};

}  // namespace

sRecording readRecording(std::istream& input, const std::string& name) {
    sRecording recording;
    recording.name = name;
    cRecordingReader(input, recording).read();
    return recording;
}

sRecording readRecording(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
        throw std::runtime_error(path + " is a folder, expected a recording");
    if (!file) throw std::runtime_error("cannot read " + path);
    return readRecording(file, path);
}

std::string recordedLine(const sRecordedEvent& event) {
    nlohmann::ordered_json line = {{"ms", event.ms}};
    if (event.kind == eRECORDED_MARK) {
        line["mark"] = event.mark.at("mark");
        for (const auto& item : event.mark.items())
            if (item.key() != "ms") line[item.key()] = item.value();  // "mark" keeps its place
        return line.dump() + "\n";
    }
    const bool failed = event.kind == eRECORDED_OPEN_FAILED;
    for (const sKindRow& row : KINDS)
        if (row.kind == (failed ? eRECORDED_OPEN : event.kind))
            line[PORT_KEYS[event.port]] = row.name;
    if (failed) line["error"] = ENOENT;
    if (movesBytes(event.kind)) line["data"] = latin1Text(event.bytes);
    return line.dump() + "\n";
}

}  // namespace le910sim
