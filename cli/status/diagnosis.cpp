#include "cli/status/diagnosis.h"

#include <algorithm>

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/status/no_daemon.h"
#include "cli/status/plain_words.h"
#include "cli/status/status_file.h"
#include "include/device_records.h"
#include "include/modem_types.h"
#include "platform/include/text_helpers.h"
#include "published/installation.h"
#include "published/outcome_texts.h"
#include "published/status_values.h"

namespace {

struct sSlotView {
    const sSlotReport& report;
    const sStatusRecord& record;
    sDiagnosis& diagnosis;

    std::string option() const { return " -p " + itos(report.slot); }
    void add(eSeverity severity, const char* id, const std::string& what,
             const std::string& mend) const {
        diagnosis.problems.push_back({severity, id, what, mend});
    }
    bool isConnected() const { return report.saysConnected(); }
    bool isRegistered() const { return record.isSet(STATUS_CREG_REGISTERED); }
    bool isSimReady() const { return record.text(STATUS_SIM_STATUS) == SIM_STATUS_AVAILABLE; }
};

// ---- daemon and status file ------------------------------------------------------------------

void checkDaemon(const sSlotView& view) {
    if (view.report.daemonRuns) return;
    const std::string age = durationText(view.report.ageS.value_or(0));
    view.add(eSeverity::ERROR, "no_daemon",
             capitalized(noDaemonText(view.report.slot)) + "; the last known values are " + age +
                 " old.",
             howToStart(view.report.slot, view.report.data) +
                 "; to see why it ended: journalctl -t " + DAEMON_NAME);
}

void checkAge(const sSlotView& view) {
    if (!view.report.ageS || !view.report.daemonRuns) return;
    const long long ageS = *view.report.ageS;
    if (view.report.isStale())
        view.add(
            eSeverity::ERROR, "stale",
            "The daemon is running, but has not updated its status for " + durationText(ageS) + ".",
            std::string("it hangs, runs a very long command, or cannot write to ") + STATUS_FOLDER +
                ": check cellslot doctor" + view.option() + " and journalctl -t " + DAEMON_NAME +
                "; if it does not recover: systemctl restart " + serviceName(view.report.slot));
    else if (ageS < -FRESH_S)
        view.add(eSeverity::WARNING, "clock",
                 "The status is " + durationText(-ageS) + " ahead of this host's clock.",
                 "the clock was set back; the daemon's next update corrects this");
}

// ---- modem and SIM ---------------------------------------------------------------------------

// A session stays up when the modem no longer answers, and its last values are still published.
// Each poll asks for the IMEI first, so that one is unknown then.
bool hasStoppedAnswering(const sSlotView& view) {
    return (view.isConnected() || view.isRegistered()) &&
           view.record.text(STATUS_IMEI) == IMEI_UNKNOWN;
}

void checkModem(const sSlotView& view) {
    const std::string port = printableLine(view.record.text(STATUS_DEV_HANDLE_MAIN));
    if (!view.report.portExists)
        view.add(
            eSeverity::ERROR, "modem_missing",
            "The modem's port " + port +
                " does not exist: the modem is off, restarting or unplugged.",
            "the daemon resets the modem after two minutes; if that does not help, check power "
            "and cable, then: cellslot doctor" +
                view.option());
    else if (isModemSilent(view.record))
        view.add(eSeverity::ERROR, "modem_silent",
                 "The modem has not answered yet on " + port + ".",
                 "normal for up to a minute after a start; if it lasts: cellslot doctor" +
                     view.option());
    else if (hasStoppedAnswering(view))
        view.add(eSeverity::ERROR, "modem_silent",
                 "The modem no longer answers on " + port + "; the last known values are shown.",
                 "a session that is up may still work; the daemon keeps trying and does not reset "
                 "the modem. If it lasts: ResetCellular now force -s " +
                     itos(view.report.slot));
}

std::string attemptsText(const sStatusRecord& record, const sStatusKey& key) {
    const long long attempts = record.number(key).value_or(ATTEMPTS_UNKNOWN);
    if (attempts == ATTEMPTS_UNKNOWN) return "";
    return ", " + ltos(attempts) + (attempts == 1 ? " attempt" : " attempts") + " left";
}

bool isPinRefused(const sStatusRecord& record) {
    return isPinOutcomeRefused(record.text(STATUS_SIM_EXTENDED_STATUS));
}

void addPinLocked(const sSlotView& view) {
    const std::string attempts = attemptsText(view.record, STATUS_SIM_REMAIN_CPIN);
    const std::string pinSet = "cellslot pin set" + view.option();
    if (isPinRefused(view.record))
        view.add(eSeverity::ERROR, "sim_pin", "The SIM refused the PIN" + attempts + ".",
                 "find out the right PIN, then: " + pinSet +
                     " (after the last failed attempt the SIM asks for its PUK)");
    else
        view.add(eSeverity::ERROR, "sim_pin", "The SIM needs its PIN" + attempts + ".", pinSet);
}

void addPukLocked(const sSlotView& view) {
    view.add(eSeverity::ERROR, "sim_puk",
             "The SIM is blocked after wrong PINs and needs its PUK" +
                 attemptsText(view.record, STATUS_SIM_REMAIN_PUK) + ".",
             "get the PUK from the operator, then: cellslot pin puk" + view.option() +
                 " (after the last failed attempt the SIM can never be used again)");
}

void checkSim(const sSlotView& view) {
    const std::string status = view.record.text(STATUS_SIM_STATUS);
    if (view.isSimReady() || isModemSilent(view.record) || hasStoppedAnswering(view)) return;
    if (status == SIM_STATUS_NOT_PRESENT)
        view.add(eSeverity::ERROR, "sim_missing", "The modem detects no SIM card.",
                 "insert it; if the modem has two holders, check CM_SIM_SLOT (in use: " +
                     printableLine(view.record.text(STATUS_SIM_SLOT)) +
                     "). A modem in #QSS mode 2 also reports no SIM: cellslot doctor "
                     "--ask-modem" +
                     view.option());
    else if (status == SIM_STATUS_PIN_LOCKED)
        addPinLocked(view);
    else if (status == SIM_STATUS_PUK_LOCKED)
        addPukLocked(view);
    else if (status == NAME_UNKNOWN)
        view.add(eSeverity::ERROR, "sim_unknown", "The SIM state cannot be read.",
                 "normal right after a start; if it lasts, remove the card and insert it again");
    else
        view.add(eSeverity::ERROR, "sim_locked",
                 "The SIM or the modem is locked: " + printableLine(status) + ".",
                 "it is tied to another network or device: ask its seller");
}

// ---- data wanted, network, session -----------------------------------------------------------

void addDataOff(const sSlotView& view) {
    const sDataDirectiveReport& data = view.report.data;
    const bool isOverride = data.value == eCONF_DATA_CONNECT_TEMP_DISABLED ||
                            data.value == eCONF_DATA_CONNECT_TEMP_MODEM_OFF;
    view.add(eSeverity::NOTE, "data_off", "Data is off: " + printableLine(data.why) + ".",
             isOverride
                 ? "to follow the configuration again: cellslot data auto" + view.option()
                 : "set CM_ENABLE_INTERFACE=yes there, then: cellslot reload" + view.option());
}

void checkDataWanted(const sSlotView& view) {
    const sDataDirectiveReport& data = view.report.data;
    if (!isDataWanted(data.value)) return addDataOff(view);
    if (data.value == eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM && !view.isConnected())
        view.add(eSeverity::NOTE, "booting", "Data waits: " + data.why + ".", "");
}

void addNotRegistered(const sSlotView& view) {
    const std::string state = view.record.text(STATUS_CREG_ABR);
    const eSeverity severity = view.isConnected() ? eSeverity::WARNING : eSeverity::ERROR;
    const std::string only = view.record.number(STATUS_CONF_OPERATOR_MODE) == eNET_OPERATOR_MANUAL
                                 ? " Only operator " +
                                       printableLine(view.record.text(STATUS_CONF_OPERATOR)) +
                                       " is allowed (CM_OPERATOR)."
                                 : "";
    if (state == REGISTRATION_DENIED)
        view.add(severity, "denied", "The network refuses this SIM (registration denied)." + only,
                 "ask the operator whether the SIM is active and may roam here; check CM_OPERATOR");
    else if (state == REGISTRATION_SEARCHING)
        view.add(severity, "searching", "No network yet; the modem is searching." + only,
                 "check antenna and location; CM_BAND_MODE, CM_DATA_SPEED and CM_OPERATOR can "
                 "exclude the available networks; the daemon resets the modem after 5 minutes");
    else if (state == REGISTRATION_NONE)
        view.add(
            severity, "not_registered", "No network, and the modem is not searching." + only,
            "the daemon resets the modem after 5 minutes; if that does not help: cellslot doctor" +
                view.option());
    else
        view.add(severity, "registration_unknown", "The registration state is not known yet.",
                 "normal right after a start");
}

void checkRegistration(const sSlotView& view) {
    if (!view.isSimReady()) return;
    if (!view.isRegistered()) return addNotRegistered(view);
    const sDataDirectiveReport& data = view.report.data;
    if (view.record.text(STATUS_CREG_ABR) != REGISTRATION_ROAMING || data.roamingAllowed ||
        view.isConnected())
        return;
    view.add(eSeverity::ERROR, "roaming_refused",
             "The SIM is roaming in another network (" +
                 printableLine(view.record.text(STATUS_CARRIER)) +
                 "), and CM_ROAMING=home forbids data there.",
             "if roaming charges are acceptable, set CM_ROAMING=auto in " +
                 printableLine(data.configPath) + ", then: cellslot reload" + view.option());
}

void checkSession(const sSlotView& view) {
    if (view.isConnected()) {
        if (view.report.daemonRuns && view.report.addresses.empty())
            view.add(eSeverity::WARNING, "no_address",
                     "The session is up, but " +
                         printableLine(view.record.text(STATUS_NETWORK_INTERFACE)) +
                         " has no address on this host.",
                     "cellslot doctor" + view.option());
        return;
    }
    if (!view.isSimReady() || !view.isRegistered() || !isDataWanted(view.report.data.value)) return;
    if (view.record.number(STATUS_LAST_CONNECT_ERROR_E).value_or(0) == eSUCCESS) return;
    const sPlainWords words = connectErrorWords(view.record);
    view.add(eSeverity::ERROR, "session_failed",
             "The data session did not start: " + words.what + ".", words.mend);
}

// ---- what works, but not well ----------------------------------------------------------------

void checkSignal(const sSlotView& view) {
    const sSignalReading& signal = view.diagnosis.signal;
    if (signal.quality != eSignalQuality::POOR) return;
    view.add(eSeverity::WARNING, "signal_poor",
             signal.isDisturbed
                 ? "The signal suffers from interference (" + signalFigures(signal) + ")."
                 : "The signal is poor (" + signalFigures(signal) + ").",
             "check antenna, cable and location with cellslot watch" + view.option());
}

void checkTemperature(const sSlotView& view) {
    const long long level = view.record.number(STATUS_TEMPERATURE_LEVEL_E).value_or(0);
    if (level == eTEMP_LEVEL_NORMAL || level == eTEMP_LEVEL_UNKNOWN) return;
    const bool isExtreme = level == eTEMP_LEVEL_EXTREME_LOWER || level == eTEMP_LEVEL_EXTREME_UPPER;
    view.add(eSeverity::WARNING, "temperature",
             std::string("The modem is ") + (isExtreme ? "far " : "") + "too " +
                 (level > 0 ? "hot" : "cold") + " (" +
                 printableLine(view.record.text(STATUS_TEMPERATURE)) + " C).",
             isExtreme ? "the modem may switch itself off" : "");
}

void checkGps(const sSlotView& view) {
    if (!isGpsFault(view.record)) return;
    const sPlainWords words = gpsWords(view.record);
    view.add(eSeverity::WARNING, "gps", "GPS: " + words.what + ".", words.mend);
}

bool hasError(const sDiagnosis& diagnosis) {
    for (const sProblem& problem : diagnosis.problems)
        if (problem.severity == eSeverity::ERROR) return true;
    return false;
}

eSlotState judgeState(const sSlotView& view) {
    if (!view.report.daemonRuns) return eSlotState::NO_DAEMON;
    if (view.report.isStale()) return eSlotState::STALE;
    if (view.isConnected()) return eSlotState::CONNECTED;
    if (hasError(view.diagnosis)) return eSlotState::NOT_CONNECTED;
    return isDataWanted(view.report.data.value) ? eSlotState::STARTING : eSlotState::DATA_OFF;
}

sDiagnosis diagnoseWithoutData(const sSlotReport& report) {
    sDiagnosis diagnosis;
    const std::string slot = itos(report.slot);
    const bool isMissing = report.file.state == eStatusFile::MISSING;
    if (isMissing && report.daemonRuns) {
        diagnosis.state = eSlotState::STARTING;
        diagnosis.problems.push_back(
            {eSeverity::NOTE, "starting",
             "The daemon is running, but has not written its status yet.",
             std::string("normal right after a start; if it lasts, the daemon cannot write to ") +
                 STATUS_FOLDER + ": cellslot doctor -p " + slot});
        return diagnosis;
    }
    if (isMissing) {
        diagnosis.state = eSlotState::NO_DAEMON;
        diagnosis.problems.push_back({eSeverity::ERROR, "no_daemon",
                                      capitalized(noDaemonReason(report)) + ".",
                                      howToStart(report.slot, report.data)});
        return diagnosis;
    }
    diagnosis.problems.push_back(
        {eSeverity::ERROR, "status_file",
         "The status file " + statusFilePath(report.slot) + " " + report.file.defect + ".",
         report.file.state == eStatusFile::NOT_PERMITTED
             ? "run cellslot as root"
             : std::string("check free space and permissions of ") + STATUS_FOLDER +
                   ": cellslot doctor -p " + slot});
    return diagnosis;
}

}  // namespace

bool isModemSilent(const sStatusRecord& record) {
    return record.text(STATUS_SIM_STATUS) == NAME_UNKNOWN &&
           record.number(STATUS_TEMPERATURE).value_or(TEMPERATURE_UNKNOWN_C) ==
               TEMPERATURE_UNKNOWN_C;
}

bool isDataWanted(eCfgDataStatus value) {
    return value != eCONF_DATA_CONNECT_DISABLED && value != eCONF_DATA_CONNECT_TEMP_DISABLED &&
           value != eCONF_DATA_CONNECT_TEMP_MODEM_OFF && value != eCONF_DATA_CONNECT_MODEM_OFF;
}

sDiagnosis diagnose(const sSlotReport& report) {
    if (!report.isGood()) return diagnoseWithoutData(report);
    sDiagnosis diagnosis;
    diagnosis.signal = readSignal(report.file.record);
    const sSlotView view = {report, report.file.record, diagnosis};
    checkDaemon(view);
    checkAge(view);
    checkModem(view);
    checkSim(view);
    checkRegistration(view);
    checkDataWanted(view);
    checkSession(view);
    checkSignal(view);
    checkTemperature(view);
    checkGps(view);
    std::stable_sort(diagnosis.problems.begin(), diagnosis.problems.end(),
                     [](const sProblem& a, const sProblem& b) { return a.severity < b.severity; });
    diagnosis.state = judgeState(view);
    return diagnosis;
}

sStateNames stateNames(eSlotState state) {
    switch (state) {
        case eSlotState::CONNECTED:
            return {"CONNECTED", "connected"};
        case eSlotState::NOT_CONNECTED:
            return {"NOT CONNECTED", "not_connected"};
        case eSlotState::DATA_OFF:
            return {"DATA OFF", "data_off"};
        case eSlotState::STARTING:
            return {"STARTING", "starting"};
        case eSlotState::STALE:
            return {"STALE", "stale"};
        case eSlotState::NO_DAEMON:
            return {"NO DAEMON", "no_daemon"};
        case eSlotState::NO_DATA:
            break;
    }
    return {"NO STATUS", "no_data"};
}

const char* severityId(eSeverity severity) {
    switch (severity) {
        case eSeverity::ERROR:
            return "error";
        case eSeverity::WARNING:
            return "warning";
        case eSeverity::NOTE:
            break;
    }
    return "note";
}
