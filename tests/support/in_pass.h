#ifndef TESTS_SUPPORT_IN_PASS_H
#define TESTS_SUPPORT_IN_PASS_H

#include "include/repeated_notices.h"

// Runs action as the main loop does: in a pass, as a run of one of its works.
template <typename tAction>
void inPass(eRepeatedWork work, const tAction& action) {
    const cRepeatedRun pass(eWORK_PASS);
    const cRepeatedRun run(work);
    action();
}

#endif
