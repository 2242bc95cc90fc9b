#ifndef FLEET_FLEET_WATCH_H
#define FLEET_FLEET_WATCH_H

#include "cli/status/watch_screen.h"
#include "fleet/judgement.h"

// The live screen: at most size.rows lines of size.columns - 1 columns. The worst gateways come
// first and are the last to be cut; of each only the first of what is wrong, on one line, so that
// many have room. trouble: why there is no connection; empty if there is one.
tLines fleetWatch(const std::vector<sJudgement>& chosen, size_t all, time_t now,
                  const sTerminalSize& size, const std::string& trouble);

#endif
