#ifndef STATEMACHINE_RECORDING_CONTROL_H
#define STATEMACHINE_RECORDING_CONTROL_H

#include "statemachine/machine.h"

// Starts and stops recordings (docs/recordings.md): as the request file says, or always if the
// command line says so. Looks at the request once a pass, which costs one lstat().
void controlRecording(sMachine& machine);

// The last step of a run. After status 3 the recording is kept for whoever wants to know why.
void endRecording(const sMachine& machine);

// For tests: as if the process had just started.
void resetRecordingControl();

#endif
