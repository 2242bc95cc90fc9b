#include "cli/config_check.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "cli/display_text.h"
#include "cli/misspelling.h"
#include "cli/silent_reader.h"
#include "config/config_keys.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t CONFIG_FILE_MAX = 131072;
constexpr const char* USUAL_BEGINNING = "CM_";
constexpr const char* MASKED = "****";
// In the reader's lines a longer value would hide the reason that stands behind it.
constexpr size_t REASON_VALUE_MAX = 200;
constexpr const char* BYTE_ORDER_MARK = "\xEF\xBB\xBF";

// ---- the reader, listened to

class cListeningReader : public cSilentReader {
  public:
    std::map<std::string, std::vector<std::string>> lines;  // by key
    std::map<std::string, std::string> entries;
    std::vector<std::string> keysRead;

  protected:
    void startKey(const sConfigKey& key) override {
        cSilentReader::startKey(key);
        keysRead.emplace_back(key.name);
    }

    void writeLine(uint64_t category, const std::string& line) override {
        if (category != eLOG_NOTICE || keysRead.empty()) return;
        lines[keysRead.back()].push_back(cleanBeginEndWhiteSpace(blankControlCharacters(line)));
    }

    cTextLookupTable loadTable() override {
        cTextLookupTable table = cConfigReader::loadTable();
        entries = table.entries();
        return table;
    }
};

// ---- what is in force, as it would be written

std::string yesNo(bool value) {
    return value ? "yes" : "no";
}

std::string hexadecimal(uint64_t value) {
    char text[17];
    snprintf(text, sizeof text, "%" PRIX64, value);
    return text;
}

struct sWordRow {
    int value;
    const char* word;
};

constexpr sWordRow ENABLE_WORDS[] = {{1, "yes"}, {0, "no"}, {-1, "off"}};
constexpr sWordRow SPEED_WORDS[] = {
    {eNET_PREF_AUTO, "auto"}, {eNET_PREF_4G, "4g"}, {eNET_PREF_3G, "3g"}, {eNET_PREF_2G, "2g"}};
constexpr sWordRow AUTH_WORDS[] = {
    {ePDP_AUTH_OFF, "off"}, {ePDP_AUTH_PAP, "pap"}, {ePDP_AUTH_CHAP, "chap"}};
constexpr sWordRow FIRMWARE_WORDS[] = {{eFIRMWARE_SLOT_0, "0"}, {eFIRMWARE_SLOT_1, "1"}};
constexpr sWordRow FAMILY_WORDS[] = {
    {eIP_FAMILY_IPV4V6, "ipv4v6"}, {eIP_FAMILY_IPV4, "ipv4"}, {eIP_FAMILY_IPV6, "ipv6"}};

template <size_t count>
std::string word(const sWordRow (&rows)[count], int value) {
    for (const sWordRow& row : rows)
        if (row.value == value) return row.word;
    return "";
}

using tOptions = const sConfigFileOpts&;

// Of a list with a wrong entry the bands before it stay in force, but not its text.
std::string bandList(tOptions options) {
    if (!options.band4gText.empty()) return options.band4gText;
    std::string list;
    for (unsigned band = 1; band <= 32; ++band)
        if ((options.band4gBits >> (band - 1) & 1) != 0)
            list += (list.empty() ? "B" : ",B") + std::to_string(band);
    return list;
}

struct sInForceRow {
    const char* key;
    std::string (*text)(tOptions);
};

// clang-format off
const sInForceRow IN_FORCE[] = {
    {"DEBUG_MODE",          [](tOptions o) { return hexadecimal(o.debugMode); }},
    {"CM_ENABLE_INTERFACE", [](tOptions o) { return word(ENABLE_WORDS, o.enableInterface); }},
    {"CM_APN",              [](tOptions o) { return o.apn; }},
    {"CM_APN2",             [](tOptions o) { return o.apn2; }},
    {"CM_SYNC_TIME",        [](tOptions o) { return yesNo(o.syncTime); }},
    {"CM_DATA_SPEED",       [](tOptions o) { return word(SPEED_WORDS, o.netPref); }},
    {"CM_ROAMING",          [](tOptions o) { return std::string(o.roamingAllowed ? "auto" : "home"); }},
    {"CM_DEFAULTROUTE",     [](tOptions o) { return yesNo(o.defaultRoute); }},
    {"CM_USERNAME",         [](tOptions o) { return o.username; }},
    {"CM_PASSWORD",         [](tOptions o) { return o.password; }},
    {"CM_AUTH_TYPE",        [](tOptions o) { return word(AUTH_WORDS, o.authType); }},
    {"CM_FW_SLOT",          [](tOptions o) { return word(FIRMWARE_WORDS, o.firmwareSlot); }},
    {"CM_USE_DNS",          [](tOptions o) { return yesNo(o.useDns); }},
    {"CM_MTU",              [](tOptions o) { return std::to_string(o.mtu); }},
    {"CM_OPERATOR_MODE",    [](tOptions o) { return o.operatorMode; }},
    {"CM_OPERATOR",         [](tOptions o) { return o.operatorName; }},
    {"CM_BAND_MODE",        [](tOptions o) { return std::string(o.bandMode == eBAND_MODE_MANUAL ? "manual" : "auto"); }},
    {"CM_3G_BAND",          [](tOptions o) { return o.band3gText; }},
    {"CM_4G_BAND",          bandList},
    {"CM_SIM_SLOT",         [](tOptions o) { return std::to_string(o.simSlot); }},
    {"CM_GPS_ENABLE",       [](tOptions o) { return yesNo(o.gpsEnable); }},
    {"CM_PTP_INT",          [](tOptions o) { return yesNo(o.ptpInterface); }},
    {"CM_IPFAMILY",         [](tOptions o) { return word(FAMILY_WORDS, o.ipFamily); }},
};
// clang-format on

std::string inForceText(const std::string& key, tOptions options) {
    for (const sInForceRow& row : IN_FORCE)
        if (row.key == key) return row.text(options);
    return "";
}

// ---- written and in force compared

// Other ways to write the same.
std::string canonical(const std::string& key, const std::string& value) {
    std::string text = stringLower(cleanWhiteSpace(value));
    if (key == "CM_DATA_SPEED" && (text == "3g4g" || text == "2g3g4g")) return "auto";
    if (key == "CM_MTU" && isStringNumeric(text)) return std::to_string(textToInt(text));
    if (key != "DEBUG_MODE") return text;
    for (size_t at; (at = text.find("0x")) != std::string::npos;)
        text.erase(at, 2);
    const bool isNumber = !text.empty() && text.find_first_not_of("0123456789abcdef") == text.npos;
    return isNumber ? stringLower(hexadecimal(strtoull(text.c_str(), nullptr, 16))) : text;
}

bool isTaken(const sConfigKey& key, const std::string& written, const std::string& inForce) {
    if (key.read == eConfigRead::RAW) return written == inForce;
    return canonical(key.name, written) == canonical(key.name, inForce);
}

bool isWithoutValue(const sConfigKey& key, const std::string& written) {
    return (key.read == eConfigRead::RAW ? written : cleanWhiteSpace(written)).empty();
}

// ---- reasons

// A key that is fine by itself is undone by one that is read behind it.
const char* undoneBy(const std::string& key) {
    if (key == "CM_OPERATOR_MODE") return "CM_OPERATOR";
    if (key == CM_USERNAME) return CM_PASSWORD;
    if (key == CM_BAND_MODE || key == "CM_3G_BAND") return "CM_4G_BAND";
    return nullptr;
}

// The reader's lines show a password between quotes, and a long one may be cut.
std::string withoutPassword(const std::string& line) {
    const size_t first = line.find('\'');
    if (first == std::string::npos) return line;
    const size_t last = line.rfind('\'');
    return line.substr(0, first + 1) + MASKED + (last == first ? "" : line.substr(last));
}

std::string reasonFor(const sConfigKey& key, const cListeningReader& reader) {
    const auto linesOf = [&](const char* name) {
        const auto found = reader.lines.find(name);
        std::vector<std::string> lines =
            found == reader.lines.end() ? std::vector<std::string>() : found->second;
        if (strcmp(name, CM_PASSWORD) == 0)
            std::transform(lines.begin(), lines.end(), lines.begin(), withoutPassword);
        return joined(lines, "; ");
    };
    const char* other = undoneBy(key.name);
    const std::string otherLines = other == nullptr ? "" : linesOf(other);
    const std::string lines = otherLines.empty() ? linesOf(key.name) : otherLines;
    return lines.empty() ? std::string("must be ") + key.accepted : lines;
}

bool isUnused(const sConfigKey& key, const cListeningReader& reader) {
    const auto& read = reader.keysRead;
    if (std::find(read.begin(), read.end(), key.name) == read.end()) return true;
    // Read, but not looked at.
    return strcmp(key.name, "CM_OPERATOR") == 0 && reader.lines.count(key.name) == 0;
}

// ---- one key

sConfigKeyReport reportKey(const sConfigKey& key, const cListeningReader& reader,
                           tOptions options) {
    const auto entry = reader.entries.find(key.name);
    const std::string written = entry == reader.entries.end() ? "" : entry->second;
    const std::string inForce = inForceText(key.name, options);
    sConfigKeyReport report = {key.name, eConfigVerdict::TAKEN, written, inForce, ""};
    if (isWithoutValue(key, written)) {
        report.verdict = eConfigVerdict::DEFAULT;
        if (entry != reader.entries.end()) report.reason = "nothing behind the = in the file";
    } else if (isUnused(key, reader)) {
        report.verdict = eConfigVerdict::NOT_USED;
        report.reason = strcmp(key.name, "CM_OPERATOR") == 0 ? "CM_OPERATOR_MODE is not 1 or 4"
                                                             : "CM_BAND_MODE is not manual";
    } else if (!isTaken(key, written, inForce)) {
        report.verdict = eConfigVerdict::REFUSED;
        report.reason = written.size() > REASON_VALUE_MAX ? std::string("must be ") + key.accepted
                                                          : reasonFor(key, reader);
    }
    if (strcmp(key.name, CM_PASSWORD) == 0) {
        if (!report.written.empty()) report.written = MASKED;
        if (!report.inForce.empty()) report.inForce = MASKED;
    }
    return report;
}

// ---- the file itself

bool isKnown(const std::string& key) {
    const std::vector<sConfigKey>& keys = configKeys();
    return std::any_of(keys.begin(), keys.end(),
                       [&](const sConfigKey& known) { return key == known.name; });
}

// The key that somebody may have had in mind who wrote the other.
std::string keyMeant(const std::string& key) {
    std::vector<std::string> keys;
    for (const sConfigKey& known : configKeys())
        keys.emplace_back(known.name);
    const std::string written = stringUpper(key);
    const std::string meant = likelyMeant(written, keys);
    return meant.empty() ? likelyMeant(USUAL_BEGINNING + written, keys) : meant;
}

std::string unknownKey(const std::string& key) {
    const std::string meant = keyMeant(key);
    std::string begin = "unknown key '" + blankControlCharacters(key) + "' is passed over";
    if (meant.empty()) return begin;
    if (stringUpper(key) == meant) return begin + "; keys are written in capitals: " + meant;
    return begin + "; is " + meant + " meant?";
}

// The rules of the reader's table, line by line.
void judgeLine(const std::string& line, const std::string& place,
               std::map<std::string, std::string>& seen, std::vector<std::string>& problems) {
    const std::string text = cleanBeginEndWhiteSpace(line);
    if (text.empty() || startsWith(text, "#")) return;
    const size_t split = text.find('=');
    if (split == std::string::npos) {
        problems.push_back(place + ": no = in it, the line is passed over");
        return;
    }
    const std::string key = cleanBeginEndWhiteSpace(text.substr(0, split));
    const auto first = seen.emplace(key, place);
    if (!first.second)
        problems.push_back(place + ": " + blankControlCharacters(key) + " once more, only " +
                           first.first->second + " counts");
    else if (!isKnown(key))
        problems.push_back(place + ": " + unknownKey(key));
}

std::vector<std::string> judgeLines(const std::string& path) {
    std::vector<std::string> problems;
    std::string content;
    if (!readFile2String(path, content, CONFIG_FILE_MAX)) return problems;
    if (startsWith(content, BYTE_ORDER_MARK)) content.erase(0, strlen(BYTE_ORDER_MARK));
    std::map<std::string, std::string> seen;
    int number = 0;
    for (const std::string& line : tokenstr(content, '\n', eEmptyTokens::KEEP))
        judgeLine(line, "line " + std::to_string(++number), seen, problems);
    return problems;
}

// They go into a command of the modem, in which these end the value.
void judgeCredentials(tOptions options, std::vector<std::string>& problems) {
    if (options.username.find(',') != std::string::npos)
        problems.emplace_back("CM_USERNAME has a comma, which ends it on its way to the modem");
    if (options.password.find(',') != std::string::npos)
        problems.emplace_back("CM_PASSWORD has a comma, which ends it on its way to the modem");
}

bool isQuoted(const std::string& value) {
    return value.size() > 1 && value.front() == value.back() &&
           (value.front() == '"' || value.front() == '\'');
}

// What is used as written is also used with what a shell would take away, and on the screen neither
// a blank at the end nor anything of a password can be seen.
void judgeRawValue(const std::string& key, const std::string& written,
                   std::vector<std::string>& problems) {
    const std::string bare = cleanBeginEndWhiteSpace(written);
    if (bare != written)
        problems.push_back(key + " has blanks at its ends, which belong to the value");
    if (isQuoted(bare)) problems.push_back(key + " has quotes, which belong to the value");
}

void judgeRawValues(const sConfigReport& report, const cListeningReader& reader,
                    std::vector<std::string>& problems) {
    for (size_t i = 0; i < report.keys.size(); ++i)
        if (configKeys()[i].read == eConfigRead::RAW &&
            report.keys[i].verdict == eConfigVerdict::TAKEN)
            judgeRawValue(report.keys[i].key, reader.entries.at(report.keys[i].key), problems);
}

}  // namespace

size_t sConfigReport::findings() const {
    const auto refused = std::count_if(keys.begin(), keys.end(), [](const sConfigKeyReport& key) {
        return key.verdict == eConfigVerdict::REFUSED;
    });
    return static_cast<size_t>(refused) + problems.size();
}

sConfigReport checkConfig(const std::string& path) {
    cListeningReader reader;
    sConfigFileOpts options;
    sConfigReport report;
    reader.init(path, 0);
    report.readable = reader.readConfig(options) == eCONFIG_APPLIED;
    if (!report.readable) return report;
    for (const sConfigKey& key : configKeys())
        report.keys.push_back(reportKey(key, reader, options));
    report.problems = judgeLines(path);
    judgeRawValues(report, reader, report.problems);
    judgeCredentials(options, report.problems);
    return report;
}
