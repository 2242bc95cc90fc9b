#include "sms/sms.h"

#include "atcmd/command.h"
#include "include/device_records.h"
#include "include/repeated_notices.h"
#include "platform/include/text_helpers.h"
#include "sms/joined_journal.h"
#include "sms/listing_marker.h"
#include "sms/message_file.h"
#include "sms/open_prompt.h"
#include "sms/receive.h"
#include "sms/send.h"
#include "sms/sms_memory.h"
#include "sms/sms_mode.h"
#include "sms/spool.h"

namespace {

void deliverJournals(const std::string& root) {
    tSmsQueue queue;
    takeJournals(queue, root);
    if (queue.empty()) return;
    waitForFreeNames(queue, root);
    writeSmsMessages(queue, root);
}

// A message that is not in a file yet must not be deleted on the modem.
bool mayDelete(eGeneralErrors received, const std::string& root) {
    return received == eSUCCESS && !isListingOpen(root);
}

eGeneralErrors receiveAndSend(int port, sModemInfo& modem, const std::string& root) {
    const eGeneralErrors received = checkReceiveSmS(port, modem, root);
    if (received == eERROR_DEVICE_RESPONSE_TIMEOUT) return received;
    eGeneralErrors result = received;
    const bool deletes = mayDelete(received, root);
    if (deletes) {
        const ePortReturn deleted = deleteSmsMsg(port, eSMS_DELETE_READ);
        if (deleted == ePORT_OK) forgetListedMessages();
        result = mapPortResult(deleted, eSUCCESS);
    }
    if (checkSendSmS(port, modem, root) == eERROR_DEVICE_RESPONSE_TIMEOUT)
        return eERROR_DEVICE_RESPONSE_TIMEOUT;
    if (deletes) deleteSmsMsg(port, eSMS_DELETE_READ_SENT);
    return result;
}

}  // namespace

void initSMS(const std::string& root) {
    traceEntry(eLOG_SMS, __func__);
    makeSmsDirs(root);
    warnAboutForeignSpool(root);
    removeTemporaryFiles(root);
    deliverJournals(root);
    findPrompt(root);
    findListingCutOff();
    g_Cp_CheckSMS->Start();
    g_C_deleteOldSmsFiles.Start();
    g_Cp_DelaySendSMS->Stop();
}

eGeneralErrors checkSMS(int port, sDeviceInfo& device) {
    if (g_Cp_CheckSMS->IsTimerRunning()) return eSUCCESS;
    const cRepeatedRun run(eWORK_SMS);
    traceEntry(eLOG_SMS, __func__);
    g_Cp_CheckSMS->Start();
    makeSmsDirs(g_s_root_sms_path);
    cleanUpSmSFiles(g_s_root_sms_path);
    if (!device.network.b_registered) return eERROR_DEVICE_NETWORK_NOT_REGISTERED;
    if (smsTypeOf(device.modem) == eSMS_3GPP2 && !device.network.b_ims_registered)
        return eERROR_DEVICE_NETWORK_NOT_IMS_REGISTERED;
    return receiveAndSend(port, device.modem, g_s_root_sms_path);
}

void resetSmsState() {
    resetSmsTimers();
    resetSmsMemory();
}
