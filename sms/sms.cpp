#include "sms/sms.h"

#include "atcmd/command.h"
#include "platform/include/text_helpers.h"

const std::string g_s_root_sms_path = "/tmp/sms";

ePortReturn setSmsMode(int port, eSmsPduMode mode) {
    traceEntry(eLOG_SMS, __func__);
    return tellModem(port, commandText(eAT_CMD_CMGF_SET, itos(mode)));
}

eGeneralErrors checkSMS(int, sDeviceInfo&) {
    return eSUCCESS;
}

void initSMS(const std::string&) {}
