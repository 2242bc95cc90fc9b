#include "sms/sms_memory.h"

sSmsMemory g_smsMemory;

void resetSmsMemory() {
    g_smsMemory = {};
}
