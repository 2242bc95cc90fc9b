#include "le910sim/nmea.h"

#include <cmath>
#include <ctime>

#include "le910sim/text.h"

namespace le910sim {

namespace {

struct sUtc {
    std::string time;  // hhmmss.000
    std::string date;  // ddmmyy
};

sUtc utcOf(const sClock& clock) {
    const time_t seconds = clock.localSeconds - clock.zoneQuarters * 900;
    std::tm date = {};
    gmtime_r(&seconds, &date);
    return {padded(date.tm_hour, 2) + padded(date.tm_min, 2) + padded(date.tm_sec, 2) + ".000",
            padded(date.tm_mday, 2) + padded(date.tm_mon + 1, 2) + padded(date.tm_year % 100, 2)};
}

// A positive number with a fixed count of decimals.
std::string decimal(double value, int decimals) {
    const auto scale = static_cast<int64_t>(std::llround(std::pow(10.0, decimals)));
    const int64_t scaled = std::llround(std::fabs(value) * static_cast<double>(scale));
    return (value < 0 && scaled != 0 ? "-" : "") + std::to_string(scaled / scale) + "." +
           padded(scaled % scale, static_cast<size_t>(decimals));
}

// Degrees and minutes with four decimals: ddmm.mmmm or dddmm.mmmm.
std::string degreesMinutes(double degrees, size_t degreeDigits) {
    const int64_t tenThousandths = std::llround(std::fabs(degrees) * 60 * 10000);
    const int64_t minutes = tenThousandths / 10000;
    return padded(minutes / 60, degreeDigits) + padded(minutes % 60, 2) + "." +
           padded(tenThousandths % 10000, 4);
}

std::string place(const sGpsPoint& point) {
    return degreesMinutes(point.latitude, 2) + (point.latitude < 0 ? ",S," : ",N,") +
           degreesMinutes(point.longitude, 3) + (point.longitude < 0 ? ",W" : ",E");
}

std::string gga(const sGpsReceiver& gps, const sGpsPoint& point, const sUtc& utc) {
    if (!gps.fix) return gps.ggaTalker + "GGA,,,,,,0,,,,M,,M,,";
    return gps.ggaTalker + "GGA," + utc.time + "," + place(point) + ",1," +
           padded(gps.satellites, 2) + "," + decimal(gps.hdop, 2) + "," +
           decimal(point.altitudeM, 1) + ",M,,M,,0000";
}

std::string rmc(const sGpsReceiver& gps, const sGpsPoint& point, const sUtc& utc) {
    if (!gps.fix) return gps.rmcTalker + "RMC,,V,,,,,,,,,,N";
    return gps.rmcTalker + "RMC," + utc.time + ",A," + place(point) + "," +
           decimal(gps.speedKnots, 1) + "," + decimal(gps.courseDeg, 1) + "," + utc.date + ",,,A";
}

std::string gll(const sGpsReceiver& gps, const sGpsPoint& point, const sUtc& utc) {
    if (!gps.fix) return gps.ggaTalker + "GLL,,,,,,V,N";
    return gps.ggaTalker + "GLL," + place(point) + "," + utc.time + ",A,A";
}

std::string gsa(const sGpsReceiver& gps) {
    if (!gps.fix) return gps.ggaTalker + "GSA,A,1,,,,,,,,,,,,,,,";
    return gps.ggaTalker + "GSA,A,3,01,02,03,04,,,,,,,,," + decimal(gps.hdop * 1.5, 2) + "," +
           decimal(gps.hdop, 2) + "," + decimal(gps.hdop * 1.2, 2);
}

std::string vtg(const sGpsReceiver& gps) {
    if (!gps.fix) return gps.ggaTalker + "VTG,,T,,M,,N,,K,N";
    return gps.ggaTalker + "VTG," + decimal(gps.courseDeg, 1) + ",T,,M," +
           decimal(gps.speedKnots, 1) + ",N," + decimal(gps.speedKnots * 1.852, 1) + ",K,A";
}

}  // namespace

std::string nmeaSentence(const std::string& body) {
    uint8_t sum = 0;
    for (const char letter : body)
        sum ^= static_cast<uint8_t>(letter);
    return "$" + body + "*" + toHex({sum}) + "\r\n";
}

std::string nmeaEpoch(const sGpsReceiver& gps, const sGpsPoint& point,
                      const std::vector<int64_t>& wanted, const sClock& clock) {
    const sUtc utc = utcOf(clock);
    const std::vector<std::string> bodies = {
        gga(gps, point, utc),         gll(gps, point, utc), gsa(gps),
        gps.ggaTalker + "GSV,1,1,00", rmc(gps, point, utc), vtg(gps)};
    std::string text;
    for (size_t i = 0; i < bodies.size() && i + 1 < wanted.size(); ++i) {
        if (wanted[i + 1] == 1) text += nmeaSentence(bodies[i]);
    }
    return text;
}

const sGpsPoint& trackPoint(const sGpsReceiver& gps, uint64_t second) {
    return gps.track[second % gps.track.size()];
}

}  // namespace le910sim
