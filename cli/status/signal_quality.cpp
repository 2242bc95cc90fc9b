#include "cli/status/signal_quality.h"

#include <algorithm>

#include "cli/base/display_text.h"

namespace {

// +CSQ, 3GPP TS 27.007 section 8.5: 0 is -113 dBm or less, 31 is -51 dBm or more, 99 unknown.
constexpr long long CSQ_MAX = 31;
constexpr double CSQ_ZERO_DBM = -113;
constexpr double CSQ_STEP_DB = 2;

// No receiver measures less or more; other values are errors of the modem.
constexpr double LEAST = -200;
constexpr double MOST = 50;

struct sMeasure {
    const char* name;
    const char* unit;
    std::optional<double> sSignalReading::*value;
    double good;  // from here up
    double fair;  // from here up; below is poor
    double barEmpty;
    double barFull;
};

// The manual page lists these limits.
// clang-format off
const sMeasure RSRP  = {"RSRP",  "dBm", &sSignalReading::rsrpDbm, -95, -110, -125, -75};
const sMeasure RSCP  = {"RSCP",  "dBm", &sSignalReading::rscpDbm, -85, -100, -115, -65};
const sMeasure RSSI  = {"RSSI",  "dBm", &sSignalReading::rssiDbm, -75,  -90, -110, -60};
const sMeasure RSRQ  = {"RSRQ",  "dB",  &sSignalReading::rsrqDb,  -10,  -15,    0,   0};
const sMeasure ECIO  = {"Ec/Io", "dB",  &sSignalReading::ecioDb,   -8,  -12,    0,   0};
// clang-format on

// The first that is known decides.
const sMeasure* const STRENGTHS[] = {&RSRP, &RSCP, &RSSI};
const sMeasure* const CLEARNESSES[] = {&RSRQ, &ECIO};
const sMeasure* const IN_ORDER[] = {&RSRP, &RSRQ, &RSCP, &ECIO, &RSSI};

std::optional<double> plausible(std::optional<double> value) {
    return value && *value >= LEAST && *value <= MOST ? value : std::nullopt;
}

std::optional<double> rssiOfCsq(const sStatusRecord& record) {
    const long long csq = record.number(STATUS_CURRENT_CSQ).value_or(-1);
    if (csq < 0 || csq > CSQ_MAX) return std::nullopt;
    return CSQ_ZERO_DBM + CSQ_STEP_DB * static_cast<double>(csq);
}

eSignalQuality judge(const sMeasure& measure, double value) {
    if (value >= measure.good) return eSignalQuality::GOOD;
    return value >= measure.fair ? eSignalQuality::FAIR : eSignalQuality::POOR;
}

int percentOf(const sMeasure& measure, double value) {
    const double part = (value - measure.barEmpty) / (measure.barFull - measure.barEmpty);
    return static_cast<int>(100 * std::clamp(part, 0.0, 1.0));
}

void judgeStrength(sSignalReading& signal) {
    for (const sMeasure* measure : STRENGTHS) {
        const std::optional<double>& value = signal.*(measure->value);
        if (!value) continue;
        signal.quality = judge(*measure, *value);
        signal.strengthPercent = percentOf(*measure, *value);
        signal.strengthName = measure->name;
        signal.emptyDbm = measure->barEmpty;
        signal.fullDbm = measure->barFull;
        signal.goodPercent = percentOf(*measure, measure->good);
        signal.fairPercent = percentOf(*measure, measure->fair);
        return;
    }
}

void judgeClearness(sSignalReading& signal) {
    if (signal.quality == eSignalQuality::UNKNOWN) return;
    for (const sMeasure* measure : CLEARNESSES) {
        const std::optional<double>& value = signal.*(measure->value);
        if (!value) continue;
        const eSignalQuality clearness = judge(*measure, *value);
        signal.isDisturbed = clearness < signal.quality;
        signal.quality = std::min(signal.quality, clearness);
        return;
    }
}

}  // namespace

sSignalReading readSignal(const sStatusRecord& record) {
    sSignalReading signal;
    signal.rsrpDbm = plausible(record.decimal(STATUS_CURRENT_RSRP));
    signal.rsrqDb = plausible(record.decimal(STATUS_CURRENT_RSRQ));
    signal.rscpDbm = plausible(record.decimal(STATUS_CURRENT_RSCP));
    signal.ecioDb = plausible(record.decimal(STATUS_CURRENT_ECIO));
    signal.rssiDbm = plausible(record.decimal(STATUS_CURRENT_RSSI));
    if (!signal.rssiDbm) signal.rssiDbm = rssiOfCsq(record);
    judgeStrength(signal);
    judgeClearness(signal);
    return signal;
}

const char* qualityWord(eSignalQuality quality) {
    switch (quality) {
        case eSignalQuality::UNKNOWN:
            break;
        case eSignalQuality::POOR:
            return "poor";
        case eSignalQuality::FAIR:
            return "fair";
        case eSignalQuality::GOOD:
            return "good";
    }
    return "unknown";
}

std::string signalBar(const sSignalReading& signal, size_t cells) {
    const size_t full = (static_cast<size_t>(signal.strengthPercent) * cells + 50) / 100;
    return "[" + std::string(full, '#') + std::string(cells - full, '-') + "]";
}

std::string signalFigures(const sSignalReading& signal) {
    std::string text;
    for (const sMeasure* measure : IN_ORDER) {
        const std::optional<double>& value = signal.*(measure->value);
        if (!value) continue;
        text += text.empty() ? "" : ", ";
        text += std::string(measure->name) + " " + shortNumber(*value) + " " + measure->unit;
    }
    return text;
}
