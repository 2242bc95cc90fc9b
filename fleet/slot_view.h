#ifndef FLEET_SLOT_VIEW_H
#define FLEET_SLOT_VIEW_H

#include "cli/status/slot_report.h"
#include "fleet/gateway.h"

// A gateway's slot as if its status file were here, as far as "cellslot status --json" has it: so
// it is shown and counted by the same code. Every text is bounded and printable.
struct sSlotView {
    sSlotReport report;
    std::string gps;  // in words
};

// isOnline: the gateway would have reported a change, so what it said is true now too; otherwise it
// is as old as it is.
sSlotView viewOf(const sSlotState& slot, bool isOnline, time_t now);

#endif
