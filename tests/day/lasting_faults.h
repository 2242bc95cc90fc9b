#ifndef TESTS_DAY_LASTING_FAULTS_H
#define TESTS_DAY_LASTING_FAULTS_H

// gateway_day --faults [NAME]: what faults that last all day write to the log. Without NAME a
// sample that a seed draws (CELLSLOT_SEED), with CELLSLOT_TEST_ALL=1 all of them; a NAME that is
// whole shows the log, any other text runs the faults that hold it. 0 when all stay within their
// bound.
int runLastingFaults(const char* name);

#endif
