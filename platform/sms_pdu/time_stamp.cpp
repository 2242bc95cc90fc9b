#include "platform/sms_pdu/time_stamp.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace sms_pdu {

namespace {

constexpr int UNREADABLE = -1;
constexpr size_t DATE_OCTETS = 6;
constexpr int FIRST_3GPP_YEAR = 90;
constexpr int FIRST_3GPP2_YEAR = 96;
constexpr int QUARTER_S = 15 * 60;
constexpr uint8_t ZONE_WEST = 0x08;

using tDate =
    std::array<int, DATE_OCTETS>;  // year of the century, month, day, hour, minute, second

int numberOf(unsigned tens, unsigned units) {
    if (tens > 9 || units > 9) return UNREADABLE;
    return static_cast<int>(tens * 10 + units);
}

bool isLeapYear(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysOfMonth(int year, int month) {
    static const int DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return DAYS[month - 1] + (month == 2 && isLeapYear(year) ? 1 : 0);
}

// timegm is not enough: time_t ends in 2038 on 32-bit systems.
int64_t daysSinceEpoch(int year, int month, int day) {
    int64_t days = day - 1;
    for (int y = 1970; y < year; y++)
        days += isLeapYear(y) ? 366 : 365;
    for (int m = 1; m < month; m++)
        days += daysOfMonth(year, m);
    return days;
}

sTimeStamp timeStampOf(const tDate& date, int firstYear, int zoneQuarters) {
    const auto [yearOfCentury, month, day, hour, minute, second] = date;
    if (*std::min_element(date.begin(), date.end()) < 0) return {};
    const int year = yearOfCentury + (yearOfCentury >= firstYear ? 1900 : 2000);
    if (month < 1 || month > 12 || day < 1 || day > daysOfMonth(year, month)) return {};
    if (hour > 23 || minute > 59 || second > 59) return {};
    char local[64];
    snprintf(local, sizeof local, "%04d-%02d-%02d %02d:%02d:%02d", year, month, day, hour, minute,
             second);
    const int64_t secondOfDay = (hour * 60 + minute) * 60 + second;
    const int64_t localSeconds = daysSinceEpoch(year, month, day) * 24 * 60 * 60 + secondOfDay;
    return {local, std::to_string(localSeconds - zoneQuarters * QUARTER_S)};
}

int zoneQuartersOf(uint8_t octet) {
    const int quarters = numberOf(octet & 0x07, octet >> 4);
    if (quarters == UNREADABLE) return 0;
    return (octet & ZONE_WEST) != 0 ? -quarters : quarters;
}

}  // namespace

sTimeStamp readServiceCentreTime(const tOctets& stamp) {
    if (stamp.size() <= DATE_OCTETS) return {};
    tDate date{};
    for (size_t i = 0; i < DATE_OCTETS; i++)
        date[i] = numberOf(stamp[i] & 0x0F, stamp[i] >> 4);
    return timeStampOf(date, FIRST_3GPP_YEAR, zoneQuartersOf(stamp[DATE_OCTETS]));
}

sTimeStamp readMessageCentreTime(const tOctets& stamp) {
    if (stamp.size() < DATE_OCTETS) return {};
    tDate date{};
    for (size_t i = 0; i < DATE_OCTETS; i++)
        date[i] = numberOf(stamp[i] >> 4, stamp[i] & 0x0F);
    return timeStampOf(date, FIRST_3GPP2_YEAR, 0);
}

}  // namespace sms_pdu
