#include "agent/change_watch.h"

#include "agent/change_record.h"

namespace {

// The daemon writes its status before it reads its file, so one of the same second says nothing.
constexpr long long WRITTEN_AFTER_S = 2;

// A set-up stops the clock of the session, but may show that of before as connected until it ends.
bool isInSession(const sSlotReport& report) {
    return report.isConnected() && report.file.record.number(STATUS_QMI_CALL_TIME).value_or(0) > 0;
}

// With the new file; a slot that had no connection before need not have one now.
// Judged by ages: the clock may be set meanwhile, or be years behind after a start of the host.
bool isSetUp(const sChangeRecord& record, const sSlotReport& report, long long runS) {
    if (!report.isGood() || !report.daemonRuns || report.isStale()) return false;
    if (!report.ageS || *report.ageS < 0) return false;
    if (runS - record.takenS < *report.ageS + WRITTEN_AFTER_S) return false;
    return isInSession(report) || !record.wasConnected;
}

eResult resultOf(eChangeEnd end) {
    switch (end) {
        case eChangeEnd::CONFIRMED:
            return eResult::CONFIRMED;
        case eChangeEnd::ROLLED_BACK:
            return eResult::ROLLED_BACK;
        case eChangeEnd::NEW_FILE_STAYS:
            break;
    }
    return eResult::FAILED;
}

}  // namespace

void cChangeWatch::noteUp() {
    if (m_line == eLine::RENEWED) m_line = eLine::UP;
}

void cChangeWatch::noteAnswered() {
    if (m_line == eLine::UP) m_line = eLine::PROVEN;
}

cChangeWatch::eNeed cChangeWatch::look(const sPlaces& places, const sCommand& command,
                                       const sSlotReport& report, long long runS) {
    if (m_id != command.id) {
        *this = {};
        m_id = command.id;
    }
    const std::optional<sChangeRecord> record = readChange(places);
    const std::optional<sChangeOutcome> ended = readChangeOutcome(places);
    if (ended && ended->id == command.id) {
        m_outcome = {resultOf(ended->end), ended->text, {}, "", false};
        return eNeed::END;
    }
    if (!record || record->id != command.id) {
        m_outcome = {eResult::INTERRUPTED,
                     "The change was ended before it was begun; the old file is in force.",
                     {},
                     "",
                     false};
        return eNeed::END;
    }
    if (record->phase != ePhase::TAKEN) return eNeed::NOTHING;
    if (!m_isSaid) return eNeed::SAY_STARTED;
    if (m_line == eLine::OLD && isSetUp(*record, report, runS)) return eNeed::RENEW;
    if (m_line == eLine::PROVEN && !m_isConfirmed) return eNeed::CONFIRM;
    return eNeed::NOTHING;
}
