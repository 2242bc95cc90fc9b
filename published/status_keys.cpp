#include "published/status_keys.h"

namespace {

std::string activeSetKey(size_t index, const char* name) {
    return "ACT" + std::to_string(index) + name;
}

}  // namespace

std::string contextStatusKey(size_t index) {
    return "SIM_CONT_APN" + std::to_string(index);
}

std::string activeSetEcIoKey(size_t index) {
    return activeSetKey(index, "_F_ECIO");
}

std::string activeSetPscKey(size_t index) {
    return activeSetKey(index, "_PSC");
}

std::string activeSetChannelKey(size_t index) {
    return activeSetKey(index, "_UARFCN");
}

std::string statusKeyStart(const cSlotText& slot) {
    return PLAIN_STATUS_KEY_START + slot.text();
}
