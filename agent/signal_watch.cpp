#include "agent/signal_watch.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr std::optional<double> sSignalReading::*const FIGURES[] = {
    &sSignalReading::rsrpDbm, &sSignalReading::rsrqDb, &sSignalReading::rscpDbm,
    &sSignalReading::ecioDb, &sSignalReading::rssiDbm};

// Of the figures that both have.
double greatestMove(const sSignalReading& before, const sSignalReading& now) {
    double greatest = 0;
    for (const auto figure : FIGURES)
        if (before.*figure && now.*figure)
            greatest = std::max(greatest, std::abs(*(now.*figure) - *(before.*figure)));
    return greatest;
}

}  // namespace

bool cSignalWatch::isNews(const sSignalReading& signal, long long runS) const {
    if (!m_sent) return signal.quality != eSignalQuality::UNKNOWN;
    if (runS - m_sentAtS < PAUSE_S) return false;
    const bool isKnown = signal.quality != eSignalQuality::UNKNOWN;
    const bool wasKnown = m_sent->quality != eSignalQuality::UNKNOWN;
    // Another technology has other figures, which say nothing about each other.
    if (isKnown != wasKnown || signal.strengthName != m_sent->strengthName) return true;
    const double move = greatestMove(*m_sent, signal);
    return move >= FAR_DB || (signal.quality != m_sent->quality && move >= MARGIN_DB);
}

void cSignalWatch::noteSent(const sSignalReading& signal, long long runS) {
    m_sent = signal;
    m_sentAtS = runS;
}
