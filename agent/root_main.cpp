#include <cstdio>
#include <cstring>

#include "agent/change_host.h"
#include "agent/root_service.h"
#include "cli/base/failure.h"

// cellslot-agent-root serve|change [CELLSLOT]: what the units of the package start. The path of
// cellslot is for tests.
int main(int argc, char** argv) {
    const sPlaces places;
    const char* task = argc > 1 ? argv[1] : "";
    const char* program = argc > 2 ? argv[2] : CELLSLOT_PROGRAM;
    try {
        if (strcmp(task, "serve") == 0) return serveRequest(places, program);
        if (strcmp(task, "change") == 0) {
            cChangeHost host(places, program);
            cConfigChange(places, host).run();
            return 0;
        }
    } catch (const cFailure& failure) {
        fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
    fprintf(stderr, "usage: cellslot-agent-root serve|change [CELLSLOT]\n");
    return 2;
}
