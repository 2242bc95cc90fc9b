#include "cli/config/config_check.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <map>

#include "cli/base/misspelling.h"
#include "cli/base/silent_reader.h"
#include "config/config_reader.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr const char* USUAL_BEGINNING = "CM_";
constexpr const char* MASKED = "****";
constexpr const char* BYTE_ORDER_MARK = "\xEF\xBB\xBF";

using tFindingList = std::vector<sConfigFinding>;

// ---- the reader and what it reads

class cListeningReader : public cSilentReader {
  public:
    std::map<std::string, std::string> entries;
    std::vector<std::string> keysRead;

  protected:
    void startKey(const sConfigKey& key) override {
        cSilentReader::startKey(key);
        keysRead.emplace_back(key.name);
    }

    cTextLookupTable loadTable() override {
        cTextLookupTable table = cConfigReader::loadTable();
        entries = table.entries();
        return table;
    }
};

// ---- the values in force, as they would be written

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

// The bands before a wrong entry of a list are in force, but the text of the list is not kept.
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
    {DEBUG_MODE,          [](tOptions o) { return hexadecimal(o.debugMode); }},
    {CM_ENABLE_INTERFACE, [](tOptions o) { return word(ENABLE_WORDS, o.enableInterface); }},
    {CM_APN,              [](tOptions o) { return o.apn; }},
    {CM_APN2,             [](tOptions o) { return o.apn2; }},
    {CM_SYNC_TIME,        [](tOptions o) { return yesNo(o.syncTime); }},
    {CM_DATA_SPEED,       [](tOptions o) { return word(SPEED_WORDS, o.netPref); }},
    {CM_ROAMING,          [](tOptions o) { return std::string(o.roamingAllowed ? "auto" : "home"); }},
    {CM_DEFAULTROUTE,     [](tOptions o) { return yesNo(o.defaultRoute); }},
    {CM_USERNAME,         [](tOptions o) { return o.username; }},
    {CM_PASSWORD,         [](tOptions o) { return o.password; }},
    {CM_AUTH_TYPE,        [](tOptions o) { return word(AUTH_WORDS, o.authType); }},
    {CM_FW_SLOT,          [](tOptions o) { return word(FIRMWARE_WORDS, o.firmwareSlot); }},
    {CM_USE_DNS,          [](tOptions o) { return yesNo(o.useDns); }},
    {CM_MTU,              [](tOptions o) { return std::to_string(o.mtu); }},
    {CM_OPERATOR_MODE,    [](tOptions o) { return o.operatorMode; }},
    {CM_OPERATOR,         [](tOptions o) { return o.operatorName; }},
    {CM_BAND_MODE,        [](tOptions o) { return std::string(o.bandMode == eBAND_MODE_MANUAL ? "manual" : "auto"); }},
    {CM_3G_BAND,          [](tOptions o) { return o.band3gText; }},
    {CM_4G_BAND,          bandList},
    {CM_SIM_SLOT,         [](tOptions o) { return std::to_string(o.simSlot); }},
    {CM_GPS_ENABLE,       [](tOptions o) { return yesNo(o.gpsEnable); }},
    {CM_PTP_INT,          [](tOptions o) { return yesNo(o.ptpInterface); }},
    {CM_IPFAMILY,         [](tOptions o) { return word(FAMILY_WORDS, o.ipFamily); }},
};
// clang-format on

std::string inForceText(const std::string& key, tOptions options) {
    for (const sInForceRow& row : IN_FORCE)
        if (row.key == key) return row.text(options);
    return "";
}

// ---- written and in force compared

// Makes different ways to write the same value equal.
std::string canonical(const std::string& key, const std::string& value) {
    std::string text = stringLower(cleanWhiteSpace(value));
    if (key == CM_DATA_SPEED && (text == "3g4g" || text == "2g3g4g")) return "auto";
    if (key == CM_MTU && isStringNumeric(text)) return std::to_string(textToInt(text));
    if (key != DEBUG_MODE) return text;
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

std::string canonicalEntry(const cListeningReader& reader, const std::string& key) {
    const auto entry = reader.entries.find(key);
    return entry == reader.entries.end() ? "" : canonical(key, entry->second);
}

bool isCredential(const std::string& value) {
    return !value.empty() && value.size() <= CREDENTIAL_MAX &&
           blankControlCharacters(value) == value;
}

bool isOneOf(const std::string& value, std::initializer_list<const char*> words) {
    return std::find(words.begin(), words.end(), value) != words.end();
}

bool isManual(const std::string& value) {
    return isOneOf(value, {"1", "4"});
}

// A value that is valid by itself, and what else it needs.
struct sNeedRow {
    const char* key;
    bool (*isFine)(const std::string& value);
    const char* need;
};

constexpr const char* BOTH_BANDS =
    "manual needs CM_3G_BAND and CM_4G_BAND, and one is missing or not accepted";

const sNeedRow NEEDS[] = {
    {CM_OPERATOR_MODE, isManual, "1 and 4 need CM_OPERATOR, which is missing or not accepted"},
    {CM_USERNAME, isCredential, "CM_PASSWORD is not accepted, and the two are only used together"},
    {CM_PASSWORD, isCredential, "it needs CM_USERNAME, which is missing or not accepted"},
    {CM_AUTH_TYPE, [](const std::string& value) { return value == "off"; },
     "off is allowed only without CM_USERNAME and CM_PASSWORD"},
    {CM_AUTH_TYPE,
     [](const std::string& value) {
         return isOneOf(value, {"pap", "chap"});
     },
     "pap and chap need CM_USERNAME and CM_PASSWORD"},
    {CM_BAND_MODE, [](const std::string& value) { return value == "manual"; }, BOTH_BANDS},
    {CM_3G_BAND,
     [](const std::string& value) {
         return value.size() == 1 && value[0] >= '0' && value[0] <= '7';
     },
     BOTH_BANDS},
};

// The bands before a wrong entry of the list are used; without CM_3G_BAND none are.
std::string needOfBands(tOptions options) {
    return options.bandMode == eBAND_MODE_MANUAL ? "the list is used up to its first wrong entry"
                                                 : BOTH_BANDS;
}

// What else a valid value needs to be used; "" if the value itself is wrong.
std::string needOf(const sConfigKey& key, const std::string& written, tOptions options) {
    if (strcmp(key.name, CM_4G_BAND) == 0) return needOfBands(options);
    const std::string value = key.read == eConfigRead::RAW ? written : canonical(key.name, written);
    for (const sNeedRow& row : NEEDS)
        if (strcmp(row.key, key.name) == 0 && row.isFine(value)) return row.need;
    return "";
}

bool isQuoted(const std::string& value) {
    return value.size() > 1 && value.front() == value.back() &&
           (value.front() == '"' || value.front() == '\'');
}

// Where a comment would begin in a shell: at a # at the start or after a blank.
size_t commentIn(const std::string& value) {
    for (size_t at = value.find('#'); at != std::string::npos; at = value.find('#', at + 1))
        if (at == 0 || value[at - 1] == ' ' || value[at - 1] == '\t') return at;
    return std::string::npos;
}

// What a shell would remove, and the daemon does not.
std::vector<std::string> misreadings(const std::string& written) {
    std::vector<std::string> lines;
    const std::string bare = cleanBeginEndWhiteSpace(written);
    const size_t comment = commentIn(bare);
    if (isQuoted(cleanBeginEndWhiteSpace(bare.substr(0, comment))))
        lines.emplace_back("the quotes are part of the value; write it without them");
    if (comment != std::string::npos)
        lines.emplace_back(
            "the # and the text after it are part of the value; put comments on their "
            "own lines");
    if (blankControlCharacters(bare) != bare)
        lines.emplace_back("it contains control characters; type it again");
    return lines;
}

bool isUnused(const sConfigKey& key, const cListeningReader& reader) {
    const auto& read = reader.keysRead;
    if (std::find(read.begin(), read.end(), key.name) == read.end()) return true;
    // Read, but not used.
    return strcmp(key.name, CM_OPERATOR) == 0 &&
           !isManual(canonicalEntry(reader, CM_OPERATOR_MODE));
}

// ---- one key

constexpr const char* NO_VALUE = "no value after the = in the file";

std::string masked(const sConfigKey& key, const std::string& value) {
    return strcmp(key.name, CM_PASSWORD) == 0 && !value.empty() ? MASKED : value;
}

sConfigKeyReport reportKey(const sConfigKey& key, const cListeningReader& reader,
                           tOptions options) {
    const auto entry = reader.entries.find(key.name);
    const std::string written = entry == reader.entries.end() ? "" : entry->second;
    const std::string inForce = inForceText(key.name, options);
    sConfigKeyReport report = {key.name, eConfigVerdict::TAKEN, masked(key, written),
                               masked(key, inForce), ""};
    if (isWithoutValue(key, written)) {
        report.verdict = eConfigVerdict::DEFAULT;
        if (entry != reader.entries.end()) report.reason = NO_VALUE;
    } else if (isUnused(key, reader)) {
        report.verdict = eConfigVerdict::NOT_USED;
        report.reason = strcmp(key.name, CM_OPERATOR) == 0 ? "CM_OPERATOR_MODE is not 1 or 4"
                                                           : "CM_BAND_MODE is not manual";
    } else if (!isTaken(key, written, inForce)) {
        report.verdict = eConfigVerdict::REFUSED;
        report.reason = needOf(key, written, options);
    }
    return report;
}

// ---- the file itself

bool isKnown(const std::string& key) {
    const std::vector<sConfigKey>& keys = configKeys();
    return std::any_of(keys.begin(), keys.end(),
                       [&](const sConfigKey& known) { return key == known.name; });
}

// The known key that the writer of an unknown one probably meant.
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
    std::string begin = "unknown key '" + blankControlCharacters(key) + "', ignored";
    if (meant.empty()) return begin;
    if (stringUpper(key) == meant) return begin + "; write keys in capitals: " + meant;
    return begin + "; did you mean " + meant + "?";
}

// The first line of each key.
using tLineNumbers = std::map<std::string, int>;

// The rules of the reader's table, line by line.
void judgeLine(const std::string& line, int number, tLineNumbers& seen, tFindingList& findings) {
    const std::string text = cleanBeginEndWhiteSpace(line);
    if (text.empty() || startsWith(text, "#")) return;
    const size_t split = text.find('=');
    if (split == std::string::npos) {
        findings.push_back({number, "no = in this line, ignored", {}});
        return;
    }
    const std::string key = cleanBeginEndWhiteSpace(text.substr(0, split));
    const auto first = seen.emplace(key, number);
    if (!first.second)
        findings.push_back({number,
                            blankControlCharacters(key) + " appears again, ignored; line " +
                                std::to_string(first.first->second) + " is used",
                            {}});
    else if (!isKnown(key))
        findings.push_back({number, unknownKey(key), {}});
}

tLineNumbers judgeLines(const std::string& path, tFindingList& findings) {
    tLineNumbers seen;
    std::string content;
    if (!readFile2String(path, content, CONFIG_FILE_MAX)) return seen;
    if (startsWith(content, BYTE_ORDER_MARK)) content.erase(0, strlen(BYTE_ORDER_MARK));
    int number = 0;
    for (const std::string& line : tokenstr(content, '\n', eEmptyTokens::KEEP))
        judgeLine(line, ++number, seen, findings);
    return seen;
}

bool isCredentialKey(const sConfigKey& key) {
    return strcmp(key.name, CM_USERNAME) == 0 || strcmp(key.name, CM_PASSWORD) == 0;
}

// A raw value is used as written, including what its writer did not mean to be part of it.
std::vector<std::string> doubtsAbout(const sConfigKey& key, const std::string& written) {
    std::vector<std::string> lines;
    if (key.read != eConfigRead::RAW) return lines;
    lines = misreadings(written);
    if (cleanBeginEndWhiteSpace(written) != written)
        lines.emplace_back("the blanks around it are part of the value");
    // It becomes part of a modem command, in which a comma ends it.
    if (isCredentialKey(key) && written.find(',') != std::string::npos)
        lines.emplace_back("the modem takes only the part before the comma");
    return lines;
}

std::vector<std::string> refusal(const sConfigKey& key, const sConfigKeyReport& report,
                                 const std::string& written) {
    std::vector<std::string> lines;
    lines.push_back(std::string("allowed: ") + key.accepted);
    lines.push_back("used instead: " + (report.inForce.empty() ? "(none)" : report.inForce));
    if (!report.reason.empty()) lines.push_back(report.reason);
    for (const std::string& line : misreadings(written))
        lines.push_back(line);
    return lines;
}

void judgeKey(const sConfigKey& key, const sConfigKeyReport& report, const std::string& written,
              int line, tFindingList& findings) {
    std::vector<std::string> details;
    if (report.verdict == eConfigVerdict::REFUSED) details = refusal(key, report, written);
    if (report.verdict == eConfigVerdict::TAKEN) details = doubtsAbout(key, written);
    if (details.empty()) return;
    const std::string shown = strcmp(key.name, CM_PASSWORD) == 0 ? MASKED : written;
    findings.push_back({line, std::string(key.name) + " is '" + shown + "'", details});
}

void judgeKeys(const cListeningReader& reader, const tLineNumbers& lines, sConfigReport& report) {
    for (size_t i = 0; i < report.keys.size(); ++i) {
        const sConfigKey& key = configKeys()[i];
        const auto entry = reader.entries.find(key.name);
        const auto line = lines.find(key.name);
        if (entry != reader.entries.end())
            judgeKey(key, report.keys[i], entry->second, line == lines.end() ? 0 : line->second,
                     report.findings);
    }
}

}  // namespace

sConfigReport checkConfig(const std::string& path) {
    cListeningReader reader;
    sConfigFileOpts options;
    sConfigReport report;
    reader.init(path, 0);
    report.readable = reader.readConfig(options) == eCONFIG_APPLIED;
    if (!report.readable) return report;
    for (const sConfigKey& key : configKeys())
        report.keys.push_back(reportKey(key, reader, options));
    judgeKeys(reader, judgeLines(path, report.findings), report);
    std::stable_sort(
        report.findings.begin(), report.findings.end(),
        [](const sConfigFinding& a, const sConfigFinding& b) { return a.line < b.line; });
    return report;
}
