#ifndef CLI_STATUS_SIGNAL_QUALITY_H
#define CLI_STATUS_SIGNAL_QUALITY_H

#include <optional>
#include <string>

#include "cli/status/status_file.h"

enum class eSignalQuality { UNKNOWN, POOR, FAIR, GOOD };

// The measurements in a status file, and their rating.
struct sSignalReading {
    std::optional<double> rsrpDbm;  // LTE
    std::optional<double> rsrqDb;   // LTE
    std::optional<double> rscpDbm;  // WCDMA
    std::optional<double> ecioDb;   // WCDMA
    std::optional<double> rssiDbm;

    // The worse of strength and clearness. Strength is the first known of RSRP, RSCP and RSSI;
    // clearness is RSRQ or Ec/Io.
    eSignalQuality quality = eSignalQuality::UNKNOWN;
    bool isDisturbed = false;  // the clearness is worse than the strength
    int strengthPercent = 0;   // for the bar

    // The measure of the strength and its scale: 0 and 100 percent, and the limits.
    std::string strengthName;
    double emptyDbm = 0;
    double fullDbm = 0;
    int goodPercent = 0;
    int fairPercent = 0;
};

sSignalReading readSignal(const sStatusRecord& record);
const char* qualityWord(eSignalQuality quality);
// "[######----]"
std::string signalBar(const sSignalReading& signal, size_t cells);
// "RSRP -98 dBm, RSRQ -9 dB, RSSI -68 dBm", without those that are not known.
std::string signalFigures(const sSignalReading& signal);

#endif
