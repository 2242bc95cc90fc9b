#ifndef FLEET_FLEET_SCREEN_H
#define FLEET_FLEET_SCREEN_H

#include <string>
#include <vector>

#include "cli/status/status_screen.h"
#include "fleet/judgement.h"

// The fleet for people, in lines of at most SCREEN_WIDTH columns, without line ends.

// A line for each gateway, and below it what is wrong. Ends with fleetSummary.
tLines fleetScreen(const std::vector<sJudgement>& chosen, size_t all, time_t now);

// "4 of 10000 gateways: 1 offline, 1 with an error, 1 with a warning, 1 well".
std::string fleetSummary(const std::vector<sJudgement>& chosen, size_t all);

// Its line without what is wrong; two for a long name.
tLines gatewayHead(const sJudgement& judgement, time_t now);

// Its title line, and the lines of one gateway in the list.
std::string fleetTitles();
tLines gatewayLines(const sJudgement& judgement, time_t now);

// One gateway in full: its line, and each slot as cellslot status shows it.
tLines gatewayScreen(const sJudgement& judgement, time_t now);

#endif
