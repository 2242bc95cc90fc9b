#include "cli/doctor/modem_checks.h"

#include <algorithm>

#include "cli/at/at_request.h"
#include "cli/base/display_text.h"
#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/status/status_value.h"
#include "include/device_records.h"
#include "include/result_codes.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "published/status_values.h"

namespace {

constexpr size_t SHOWN_MAX = 40;
constexpr const char* FULL_MASK = ".255.255.255.255";
constexpr long long ADDRESS_AND_MASK_DOTS = 7;  // of an IPv4 address and its mask

std::string option(const sSlotSetup& setup) {
    return " -p " + std::to_string(setup.slot);
}

std::string askFor(const sSlotSetup& setup) {
    return "cellslot doctor --ask-modem" + option(setup) + " shows which";
}

// The fields of each line that begins with the prefix, without blanks and quotes.
std::vector<std::vector<std::string>> linesOf(const std::string& answer,
                                              const std::string& prefix) {
    std::vector<std::vector<std::string>> lines;
    for (const std::string& line : tokenstr(answer, '\n', eEmptyTokens::DROP)) {
        const std::string text = cleanBeginEndWhiteSpace(line);
        if (!startsWith(text, prefix)) continue;
        std::vector<std::string> fields;
        for (const std::string& field :
             tokenstr(text.substr(prefix.size()), ',', eEmptyTokens::KEEP))
            fields.push_back(cleanCharsFromString(cleanBeginEndWhiteSpace(field), "\""));
        lines.push_back(fields);
    }
    return lines;
}

// #QSS: 2,3
//       2 report mode, 3 SIM state; an unsolicited report among the answers has only the state
void judgePresence(const std::string& answer, const sSlotSetup& setup, tFindings& findings) {
    for (const std::vector<std::string>& fields : linesOf(answer, "#QSS:")) {
        if (fields.size() != 2) continue;
        if (textToInt(fields[0]) >= 2)
            findings.push_back(
                {eHealth::BROKEN, "sim",
                 "the modem's #QSS mode is 2: its SIM states 2 and 3 count as no SIM",
                 "cellslot at AT#QSS=0" + option(setup) +
                     "; to store that: cellslot at "
                     "'AT&W0'" +
                     option(setup)});
        else if (fields[1] == "0")
            findings.push_back({eHealth::BROKEN, "sim", "the modem detects no SIM",
                                "insert it, or select the other holder with CM_SIM_SLOT"});
        else
            findings.push_back({eHealth::FINE, "sim", "the modem detects the SIM", ""});
    }
}

// +CCID: 8949020000012345678F
void judgeIccid(const std::string& answer, tFindings& findings) {
    for (const std::vector<std::string>& fields : linesOf(answer, "+CCID:")) {
        if (isStringNumeric(fields.front())) continue;
        findings.push_back({eHealth::NOTE, "sim",
                            "the ICCID " + cutTo(printableLine(fields.front()), SHOWN_MAX) +
                                " contains more than digits and is not published",
                            "nothing to do, it does no harm"});
    }
}

bool hasFullMask(const std::string& field) {
    const std::string mask = FULL_MASK;
    return std::count(field.begin(), field.end(), '.') == ADDRESS_AND_MASK_DOTS &&
           field.size() > mask.size() &&
           field.compare(field.size() - mask.size(), mask.size(), mask) == 0;
}

// +CGCONTRDP: 1,5,"internet","10.64.1.8.255.255.255.255","10.64.1.9",...
void judgeMask(const std::string& answer, tFindings& findings) {
    const auto lines = linesOf(answer, "+CGCONTRDP:");
    if (lines.empty()) return;
    const bool isFull = std::any_of(lines.begin(), lines.end(), [](const auto& fields) {
        return std::any_of(fields.begin(), fields.end(), hasFullMask);
    });
    if (isFull)
        findings.push_back(
            {eHealth::BROKEN, "session",
             "the network's mask is 255.255.255.255, and no session can start with it",
             "ask the operator for an APN with another mask, or set "
             "CM_IPFAMILY=ipv6 if the network has IPv6"});
    else
        findings.push_back({eHealth::FINE, "session", "the network's mask is usable", ""});
}

// "no daemon is running for slot 1; to start it: ..."
sFinding notAsked(const std::string& why, const sSlotSetup& setup) {
    const size_t end = why.find("; ");
    return {eHealth::NOTE, "modem", "the modem was not asked: " + why.substr(0, end),
            end == std::string::npos ? "cellslot status" + option(setup) : why.substr(end + 2)};
}

bool isWithoutIccid(const sStatusRecord& record) {
    return record.text(STATUS_SIM_STATUS) == SIM_STATUS_AVAILABLE &&
           record.text(STATUS_SIM_ID).find_first_not_of('0') == std::string::npos;
}

}  // namespace

std::string modemQuestions(const std::string& context) {
    const bool isContext = isStringNumeric(context) && context.size() <= 2;
    return atRequestLine("AT#QSS?", 0) + atRequestLine("AT+CCID?", 0) +
           atRequestLine("AT+CGCONTRDP=" + (isContext ? context : "1"), 5);
}

tFindings judgeModemAnswer(const std::string& answer, const sSlotSetup& setup) {
    tFindings findings;
    judgePresence(answer, setup, findings);
    judgeIccid(answer, findings);
    judgeMask(answer, findings);
    if (findings.empty())
        findings.push_back({eHealth::NOTE, "modem", "the modem did not answer as expected",
                            "cellslot at AT#QSS?" + option(setup)});
    return findings;
}

tFindings askAboutModem(const sPlaces& places, const sSlotSetup& setup) {
    try {
        const std::string context = statusValue(places, setup.slot, STATUS_SIM_CONT_CURRENT);
        return judgeModemAnswer(
            askModem(places, setup.slot, modemQuestions(context), MODEM_QUESTIONS_S), setup);
    } catch (const cFailure& failure) {
        return {notAsked(failure.what(), setup)};
    }
}

tFindings checkModemHabits(const sPlaces& places, const sSlotSetup& setup) {
    if (setup.pid == 0) return {};
    tFindings findings;
    const sStatusRecord record = readStatusFile(places, setup.slot).record;
    if (record.text(STATUS_SIM_STATUS) == SIM_STATUS_NOT_PRESENT)
        findings.push_back({eHealth::NOTE, "sim",
                            "there is no SIM, or the modem's #QSS mode is 2, which hides it",
                            askFor(setup)});
    if (isWithoutIccid(record))
        findings.push_back(
            {eHealth::NOTE, "sim",
             "the ICCID is not published: it has a filler F, or the modem reported none",
             "nothing to do, it does no harm; to see it: cellslot at 'AT+CCID?'" + option(setup)});
    if (record.text(STATUS_QMI_STATE) != SESSION_CONNECTED &&
        record.number(STATUS_LAST_CONNECT_ERROR_E) == eERROR_DEVICE_GET_PDP_NETWORK_INFO_NONE)
        findings.push_back({eHealth::NOTE, "session",
                            "the network assigned no address, or one with the mask "
                            "255.255.255.255, which is not usable",
                            askFor(setup)});
    return findings;
}
