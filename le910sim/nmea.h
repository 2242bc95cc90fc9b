#ifndef LE910SIM_NMEA_H
#define LE910SIM_NMEA_H

#include <cstdint>
#include <string>
#include <vector>

#include "le910sim/modem_state.h"

namespace le910sim {

// "$" + body + "*" + checksum + CR LF.
std::string nmeaSentence(const std::string& body);

// The sentences of one second that $GPSNMUN selected: GGA, GLL, GSA, GSV, RMC, VTG. The clock is
// local time; its zone gives UTC.
std::string nmeaEpoch(const sGpsReceiver& gps, const sGpsPoint& point,
                      const std::vector<int64_t>& wanted, const sClock& clock);

// The point of a track at a second; a track of one point is a fixed position, a longer one repeats.
const sGpsPoint& trackPoint(const sGpsReceiver& gps, uint64_t second);

}  // namespace le910sim

#endif
