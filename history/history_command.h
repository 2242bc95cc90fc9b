#ifndef HISTORY_HISTORY_COMMAND_H
#define HISTORY_HISTORY_COMMAND_H

#include <iosfwd>

#include "cli/base/command.h"

// `cellslot history ...`, which starts this program with the words after "history".
eExitStatus runHistoryCommand(int argc, const char* const* argv, sCliContext& context,
                              std::ostream& err);

#endif
