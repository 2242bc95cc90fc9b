#ifndef TESTS_DAY_LASTING_FAULTS_H
#define TESTS_DAY_LASTING_FAULTS_H

// gateway_day --faults [NAME]: counts what faults that last all day write to the log. Without NAME
// a random sample (CELLSLOT_SEED), with CELLSLOT_TEST_ALL=1 all of them. The complete NAME of a
// fault shows its log; any other text runs the faults whose name contains it. 0 if all stay within
// their limit.
int runLastingFaults(const char* name);

#endif
