#ifndef AGENT_AGENT_COMMAND_H
#define AGENT_AGENT_COMMAND_H

#include "cli/base/command.h"

// `cellslot agent`: the arguments after "cellslot".
eExitStatus runAgentCommand(int argc, const char* const* argv, sCliContext& context,
                            std::ostream& err);

#endif
