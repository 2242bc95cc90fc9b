#ifndef OBSERVED_SIM_NAME_H
#define OBSERVED_SIM_NAME_H

#include <string>

// An ICCID, or empty: not known.
bool isSimName(const std::string& text);

#endif
