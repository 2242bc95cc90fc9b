#ifndef WEB_WEB_COMMAND_H
#define WEB_WEB_COMMAND_H

#include <iosfwd>

#include "cli/base/exit_status.h"

// cellslot-web serve | password | check | messages. Errors go to err as "cellslot-web: ..." on
// one line.
eExitStatus runWeb(int argc, const char* const* argv, std::ostream& err);

#endif
