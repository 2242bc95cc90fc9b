#ifndef STATEMACHINE_RECORDING_MARKS_H
#define STATEMACHINE_RECORDING_MARKS_H

#include <string>

#include "statemachine/status_lines.h"

// What the daemon writes between the bytes of a recording: what it was told, what it decided and
// what it published. Each does nothing while no recording runs.

// The command line.
void markStart();
void markStates(const char* outer, const char* modem);
void markSignal(const char* name);
// What the configuration file says, and what came of reading it.
void markConfig(const std::string& configFile, const char* result);
// What the update that has just been made of the status lines has changed. Each update is marked.
void markPublished(const cStatusLines& lines);
// Everything published, then the exit status.
void markExit(int status);

// All that is published, for the beginning of a file.
void markAllPublished();

// Shell commands are marked from here on, or no longer.
void markShellCommands(bool areMarked);

// For tests: as if nothing had been published.
void resetRecordingMarks();

#endif
