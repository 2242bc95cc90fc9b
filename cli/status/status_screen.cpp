#include "cli/status/status_screen.h"

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/status/plain_words.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"
#include "published/status_values.h"

namespace {

constexpr size_t LABEL_WIDTH = 13;
constexpr size_t BAR_CELLS = 10;
constexpr size_t TABLE_BAR_CELLS = 5;

// The daemon publishes such values for what it does not know.
bool isKnown(const std::string& text) {
    return !text.empty() && text != NAME_UNKNOWN && text != TECHNOLOGY_UNKNOWN &&
           text.find_first_not_of('0') != std::string::npos;
}

std::string labelled(const std::string& label, const std::string& value) {
    return isKnown(value) ? label + printableLine(value) : "";
}

std::string ageText(const sSlotReport& report) {
    if (!report.ageS) return "";
    return *report.ageS < 0 ? "in the future" : durationText(*report.ageS) + " ago";
}

// ---- the lines of one slot -------------------------------------------------------------------

std::string modemText(const sStatusRecord& record) {
    const std::string carrier = record.text(STATUS_FIRMWARE_CARRIER);
    return joined({labelled("", record.text(STATUS_MODEL)),
                   labelled("firmware ", record.text(STATUS_FIRMWARE_V)) +
                       (isKnown(carrier) ? " (" + printableLine(carrier) + ")" : ""),
                   labelled("IMEI ", record.text(STATUS_IMEI))});
}

// The daemon's own words, except for "ready" and "not known", which are clearer.
std::string simWord(const std::string& status) {
    if (status == SIM_STATUS_AVAILABLE) return "ready";
    return isKnown(status) ? printableLine(status) : "not known";
}

// The daemon publishes digits only.
std::string iccidText(const sStatusRecord& record) {
    if (isKnown(record.text(STATUS_SIM_ID))) return labelled("ICCID ", record.text(STATUS_SIM_ID));
    return record.text(STATUS_SIM_STATUS) == SIM_STATUS_AVAILABLE
               ? "ICCID not published (a filler F?)"
               : "";
}

std::string simText(const sStatusRecord& record) {
    const std::string status = record.text(STATUS_SIM_STATUS);
    return joined({simWord(status), labelled("", record.text(STATUS_SIM_CARRIER)),
                   iccidText(record), labelled("number ", record.text(STATUS_MDN))});
}

// "LTE band 4", with another word "LTE B4".
std::string technologyText(const sStatusRecord& record, const char* band = "band ") {
    return joined(
        {labelled("", record.text(STATUS_SERVICE_TYPE)), labelled(band, record.text(STATUS_BAND))},
        " ");
}

std::string networkText(const sStatusRecord& record) {
    const std::string plmn = record.text(STATUS_CARRIER_PLMN);
    const std::string carrier = labelled("", record.text(STATUS_CARRIER));
    const std::string registration = record.text(STATUS_CREG);
    return joined(
        {isKnown(registration) ? printableLine(registration) : "not known",
         carrier + (isKnown(plmn) && !carrier.empty() ? " (" + printableLine(plmn) + ")" : ""),
         technologyText(record)});
}

std::string cellText(const sStatusRecord& record) {
    return joined({labelled("cell ", record.text(STATUS_SERVSYS_CELL_ID)),
                   labelled("area ", record.text(STATUS_CURRENT_LAC_TAC)),
                   labelled("channel ", record.text(STATUS_CURRENT_CHAN))});
}

std::string signalText(const sSignalReading& signal) {
    if (signal.quality == eSignalQuality::UNKNOWN) return "none";
    return signalBar(signal, BAR_CELLS) + " " + qualityWord(signal.quality) +
           (signal.isDisturbed ? " (interference)" : "") + ": " + signalFigures(signal);
}

std::string sessionText(const sSlotReport& report) {
    const sStatusRecord& record = report.file.record;
    const std::string apn = labelled("APN ", record.text(STATUS_SIM_APN_CURRENT));
    const std::string interface = printableLine(record.text(STATUS_NETWORK_INTERFACE));
    if (!report.saysConnected()) return joined({"down", apn, interface});
    const std::string time = durationText(record.number(STATUS_QMI_CALL_TIME).value_or(0));
    const bool isNow = report.daemonRuns && !report.isStale();
    const std::string addresses = joined(report.addresses);
    return joined({(isNow ? "up for " : "was up for ") + time, apn,
                   interface + (addresses.empty() ? " without an address" : ": " + addresses)});
}

std::string dataText(const sDataDirectiveReport& data) {
    const std::string why = ": " + printableLine(data.why);
    switch (data.value) {
        case eCONF_DATA_CONNECT_ENABLED:
        case eCONF_DATA_CONNECT_TEMP_ENABLED:
            return "wanted" + why;
        case eCONF_DATA_CONNECT_DISABLED:
        case eCONF_DATA_CONNECT_TEMP_DISABLED:
            return "not wanted" + why;
        case eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM:
        case eCONF_DATA_CONNECT_HOLDOFF:
            return "waiting" + why;
        case eCONF_DATA_CONNECT_TEMP_MODEM_OFF:
        case eCONF_DATA_CONNECT_MODEM_OFF:
            return "not wanted, modem off" + why;
        case eCONF_DATA_CONNECT_UNKNOWN:
            break;
    }
    return "unknown" + why;
}

std::string temperatureText(const sStatusRecord& record) {
    const long long degrees = record.number(STATUS_TEMPERATURE).value_or(TEMPERATURE_UNKNOWN_C);
    if (degrees == TEMPERATURE_UNKNOWN_C) return "not known";
    return ltos(degrees) + " C, " +
           stringLower(printableLine(record.text(STATUS_TEMPERATURE_LEVEL)));
}

std::string gpsText(const sStatusRecord& record) {
    return joined({gpsWords(record).what, labelled("receiver ", record.text(STATUS_GPS_CHIPSET))});
}

std::string smsText(const sStatusRecord& record) {
    return printableLine(record.text(STATUS_SMS_RECV)) + " received, " +
           printableLine(record.text(STATUS_SMS_SENT)) + " sent, " +
           printableLine(record.text(STATUS_SMS_SENT_FAIL)) + " failed";
}

std::string daemonText(const sSlotReport& report) {
    const std::string pid =
        report.daemonRuns ? "running as process " + itos(report.daemonPid) : "not running";
    return pid + ", last update " +
           printableLine(report.file.record.text(STATUS_STATS_LAST_UPDATE));
}

// ---- the table -------------------------------------------------------------------------------

struct sColumn {
    const char* title;
    size_t width;
};

// With two blanks between them the columns fill the screen.
constexpr size_t NETWORK_WIDTH = 18;
const sColumn COLUMNS[] = {
    {"SLOT", 4},    {"STATE", 13}, {"SIM", 11}, {"NETWORK", NETWORK_WIDTH},
    {"SIGNAL", 12}, {"AGE", 11},
};

std::string tableLine(const std::vector<std::string>& cells) {
    std::string line;
    for (size_t i = 0; i < cells.size(); ++i)
        line += fitTo(cells[i], COLUMNS[i].width) + (i + 1 < cells.size() ? "  " : "");
    return cleanEndWhiteSpace(line);
}

std::string shortNetwork(const sStatusRecord& record) {
    const std::string registration = record.text(STATUS_CREG_ABR);
    if (!isKnown(registration)) return "not known";
    if (!record.isSet(STATUS_CREG_REGISTERED)) return stringLower(printableLine(registration));
    const std::string technology = technologyText(record, "B");
    const size_t taken = displayWidth(technology) + 2;
    const std::string carrier = labelled("", record.text(STATUS_CARRIER));
    return joined({taken < NETWORK_WIDTH ? cutTo(carrier, NETWORK_WIDTH - taken) : "", technology});
}

std::string shortAge(const sSlotReport& report) {
    if (!report.ageS) return "-";
    return *report.ageS < 0 ? "future" : durationText(*report.ageS);
}

std::string shortSignal(const sSignalReading& signal) {
    if (signal.quality == eSignalQuality::UNKNOWN) return "-";
    return signalBar(signal, TABLE_BAR_CELLS) + " " + qualityWord(signal.quality);
}

std::string tableRow(const sSlotReport& report, const sDiagnosis& diagnosis) {
    const std::string slot = itos(report.slot);
    if (!report.isGood())
        return tableLine({slot, stateNames(diagnosis.state).word, "-", "-", "-", "-"});
    const sStatusRecord& record = report.file.record;
    return tableLine({slot, stateNames(diagnosis.state).word,
                      stringLower(simWord(record.text(STATUS_SIM_STATUS))), shortNetwork(record),
                      shortSignal(diagnosis.signal), shortAge(report)});
}

}  // namespace

std::string slotHeadline(const sSlotReport& report, const sDiagnosis& diagnosis) {
    const std::string left = "Slot " + itos(report.slot) + "  " + stateNames(diagnosis.state).word;
    const std::string age = ageText(report);
    const std::string right = age.empty() ? "" : "updated " + age;
    return cleanEndWhiteSpace(fitTo(left, SCREEN_WIDTH - displayWidth(right)) + right);
}

tLines problemLines(const sDiagnosis& diagnosis) {
    tLines lines;
    const auto add = [&](const std::string& mark, const std::string& text) {
        for (const std::string& line : wrapText(mark + text, SCREEN_WIDTH, mark.size()))
            lines.push_back(cutTo(line, SCREEN_WIDTH));
    };
    for (const sProblem& problem : diagnosis.problems) {
        const bool isNote = problem.severity == eSeverity::NOTE;
        add(isNote ? "  - " : "  ! ", problem.what);
        if (!problem.mend.empty()) add("    -> ", problem.mend);
    }
    return lines;
}

void addRow(tLines& lines, const std::string& label, const std::string& value) {
    if (value.empty()) return;
    const std::string start = fitTo(label, LABEL_WIDTH);
    for (const std::string& line : wrapList(start + value, SCREEN_WIDTH, LABEL_WIDTH))
        lines.push_back(cutTo(line, SCREEN_WIDTH));
}

tLines sharedDetails(const sSlotReport& report, const sDiagnosis& diagnosis) {
    tLines lines;
    const sStatusRecord& record = report.file.record;
    addRow(lines, "Network", networkText(record));
    addRow(lines, "", cellText(record));
    addRow(lines, "Signal", signalText(diagnosis.signal));
    addRow(lines, "Session", sessionText(report));
    addRow(lines, "Data", dataText(report.data));
    addRow(lines, "Last error", connectErrorWords(record).what);
    addRow(lines, "SIM", simText(record));
    addRow(lines, "PIN report",
           printableLine(withoutSecrets(record.text(STATUS_SIM_EXTENDED_STATUS))));
    addRow(lines, "Modem", modemText(record));
    addRow(lines, "Temperature", temperatureText(record));
    return lines;
}

tLines slotDetails(const sSlotReport& report, const sDiagnosis& diagnosis) {
    tLines lines = sharedDetails(report, diagnosis);
    const sStatusRecord& record = report.file.record;
    addRow(lines, "GPS", gpsText(record));
    addRow(lines, "SMS", smsText(record));
    addRow(lines, "Daemon", daemonText(report));
    return lines;
}

tLines slotScreen(const sSlotReport& report) {
    const sDiagnosis diagnosis = diagnose(report);
    tLines lines = {slotHeadline(report, diagnosis)};
    for (const std::string& line : problemLines(diagnosis))
        lines.push_back(line);
    if (!report.isGood()) return lines;
    lines.emplace_back();
    for (const std::string& line : slotDetails(report, diagnosis))
        lines.push_back(line);
    return lines;
}

tLines slotsProblems(const std::vector<sSlotReport>& reports) {
    tLines lines;
    for (const sSlotReport& report : reports) {
        const sDiagnosis diagnosis = diagnose(report);
        if (diagnosis.problems.empty()) continue;
        lines.push_back("Slot " + itos(report.slot) + "  " + stateNames(diagnosis.state).word);
        for (const std::string& line : problemLines(diagnosis))
            lines.push_back(line);
    }
    return lines;
}

tLines slotsTable(const std::vector<sSlotReport>& reports) {
    std::vector<std::string> titles;
    for (const sColumn& column : COLUMNS)
        titles.emplace_back(column.title);
    tLines lines = {tableLine(titles)};
    for (const sSlotReport& report : reports)
        lines.push_back(tableRow(report, diagnose(report)));
    return lines;
}

tLines slotsScreen(const std::vector<sSlotReport>& reports) {
    tLines lines = slotsProblems(reports);
    if (!lines.empty()) lines.emplace_back();
    for (const std::string& line : slotsTable(reports))
        lines.push_back(line);
    return lines;
}
