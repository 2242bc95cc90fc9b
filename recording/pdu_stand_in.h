#ifndef RECORDING_PDU_STAND_IN_H
#define RECORDING_PDU_STAND_IN_H

#include <cstddef>

#include "recording/stand_ins.h"

// Whether a line may be a message's PDU: hexadecimal digits, two for each octet.
bool isPduLine(const char* text, size_t size);

// Replaces the number and the text in a message's PDU, 3GPP TS 23.040 (deliver, submit, status
// report) or 3GPP2 C.S0015, and keeps everything else: a decoder finds a message of the same form.
// A PDU that is neither becomes "F" throughout.
void replacePdu(const cStandIns& standIns, char* digits, size_t size);

#endif
