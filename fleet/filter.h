#ifndef FLEET_FILTER_H
#define FLEET_FILTER_H

#include <string>
#include <vector>

#include "cli/base/subcommand.h"
#include "fleet/judgement.h"

// Which gateways are meant. What is empty does not count; letters' case counts in names only.
struct sFilter {
    std::vector<std::string> names;  // with * and ? and [...]
    std::string state;         // "offline", "not_connected", "not connected"; or "error", "warning"
    std::string operatorName;  // a part of it
    std::string signal;        // good, fair, poor, unknown
    std::string firmware;      // its beginning

    bool isEmpty() const;
};

// --state, --operator, --signal, --firmware.
void addFilterOptions(const cSubcommand& command, sFilter& filter);

bool matches(const sFilter& filter, const sJudgement& judgement);
// By its name alone.
bool isNamed(const sFilter& filter, const std::string& name);
std::vector<sJudgement> filtered(const sFilter& filter, const std::vector<sJudgement>& all);

// What is wrong with the values; empty if nothing. A state that some gateway has is right too.
std::string filterProblem(const sFilter& filter, const cFleet& fleet);

// Names without * ? [ that no gateway has.
std::vector<std::string> unknownNames(const sFilter& filter, const cFleet& fleet);

#endif
