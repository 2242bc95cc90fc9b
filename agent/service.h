#ifndef AGENT_SERVICE_H
#define AGENT_SERVICE_H

// Runs the agent until SIGTERM or SIGINT. The exit status.
int runAgentService();

#endif
