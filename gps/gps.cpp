#include "gps/gps.h"

eGeneralErrors maybeEnableGps(int, const sConfigFileOpts&, sModemInfo&) {
    return eSUCCESS;
}

eGeneralErrors maybeStopGps(sModemInfo&) {
    return eSUCCESS;
}
