#include "sms/sms_mode.h"

#include "atcmd/command.h"
#include "include/device_records.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr int NETWORK_FAMILY_3GPP2 = 2;

}  // namespace

e3gppType smsTypeOf(const sModemInfo& modem) {
    return modem.i_sms_network_family == NETWORK_FAMILY_3GPP2 ? eSMS_3GPP2 : eSMS_3GPP;
}

ePortReturn setSmsMode(int port, eSmsPduMode mode) {
    traceEntry(eLOG_SMS, __func__);
    return queryModem(port, commandText(eAT_CMD_CMGF_SET, itos(mode)), eParseCmx::ALWAYS);
}
