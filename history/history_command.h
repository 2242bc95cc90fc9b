#ifndef HISTORY_HISTORY_COMMAND_H
#define HISTORY_HISTORY_COMMAND_H

#include <ctime>
#include <iosfwd>

#include "cli/base/command.h"

// `cellslot history ...`, which starts this program with the words after "history". now: the end of
// what it shows.
eExitStatus runHistoryCommand(int argc, const char* const* argv, sCliContext& context, time_t now,
                              std::ostream& err);

#endif
