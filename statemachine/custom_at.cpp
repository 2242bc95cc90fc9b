#include "statemachine/custom_at.h"

const std::string g_s_at_cmd_custom_path = "/tmp";

eGeneralErrors checkCustomAtFile(int, sDeviceInfo&, const std::string&) {
    return eSUCCESS;
}
