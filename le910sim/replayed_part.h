#ifndef LE910SIM_REPLAYED_PART_H
#define LE910SIM_REPLAYED_PART_H

#include "le910sim/recording.h"

namespace le910sim {

// What of a recording one start of the program can repeat (scripts/lib/recording.py does the same).
// It begins with a start: after the program was asked to end, and where the recording began in a
// running program. It ends where the program is asked to end: a replay does not ask. Times are
// counted from its beginning. A program that ended by itself is started again in a replay, too.
sRecording replayedPart(sRecording recording);

}  // namespace le910sim

#endif
