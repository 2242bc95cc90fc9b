#include <array>

#include "gps/telit_gps.h"
#include "include/debug.h"
#include "platform/include/key_value_store.h"
#include "platform/include/text_helpers.h"
#include "published/store_keys.h"

// State that survives the daemon: without it, every start would enable a receiver that never
// appears and restart the modem.

namespace {

// Four characters and the end: longer values are cut when read.
using tValueBuffer = std::array<char, 5>;

}  // namespace

eGeneralErrors cTelitGps::checkSkvsEnableCount() {
    trace(__func__);
    const int count = getSkvsEnableCount();
    if (count < GPS_ENABLE_MAX && setSkvsEnableCount(count + 1) == eSUCCESS)
        return eERROR_DEVICE_GPS_OK_TO_ENABLE;
    debug(eLOG_NOTICE, m_debugMask, "GPS chipset Enable attempted %d times, aborting", count);
    return eERROR_DEVICE_GPS_ENABLE_MAX_COUNT;
}

int cTelitGps::getSkvsEnableCount() const {
    return stored(STORE_GPS_ENABLE_COUNT, 0, GPS_ENABLE_MAX, 0);
}

eGeneralErrors cTelitGps::setSkvsEnableCount(int count) {
    return store(STORE_GPS_ENABLE_COUNT, itos(count));
}

eGeneralErrors cTelitGps::clearSkvsEnabled() {
    return setSkvsEnabled(eSKVS_GPS_CLEARED);
}

eGeneralErrors cTelitGps::setSkvsEnabled(eSkvsEnableStatus status) {
    return store(STORE_GPS_ENABLE, itos(status));
}

eSkvsEnableStatus cTelitGps::getSkvsEnabled() const {
    return static_cast<eSkvsEnableStatus>(
        stored(STORE_GPS_ENABLE, eSKVS_GPS_NOT_ENABLED, eSKVS_GPS_ENABLED, eSKVS_GPS_NOT_ENABLED));
}

eGeneralErrors cTelitGps::setSkvsChipset(const std::string& chipset) {
    return store(STORE_GPS_CHIPSET, chipset);
}

eGeneralErrors cTelitGps::setSkvsStream(eSkvsStreamStatus status) {
    return store(STORE_GPS_STREAM, itos(status));
}

eSkvsStreamStatus cTelitGps::getSkvsStream() const {
    return static_cast<eSkvsStreamStatus>(stored(STORE_GPS_STREAM, eSKVS_STREAM_NOT_STARTED,
                                                 eSKVS_STREAM_STARTED, eSKVS_STREAM_STOPPED));
}

std::string cTelitGps::storeKey(const char* name) const {
    return slotStoreKey(m_gpsSlot, name);
}

eGeneralErrors cTelitGps::store(const char* name, const std::string& value) {
    const std::string key = storeKey(name);
    if (skvs_set(key.c_str(), value.c_str()) == 0) return eSUCCESS;
    debug(eLOG_NOTICE, m_debugMask, "Error: Cannot store %s", key.c_str());
    return eERROR_DEVICE_GPS_SET_SKVS_FAILURE;
}

int cTelitGps::stored(const char* name, int least, int most, int fallback) const {
    tValueBuffer buffer{};
    if (skvs_get(storeKey(name).c_str(), buffer.data(), buffer.size()) <= 0) return fallback;
    const std::string text(buffer.data());
    if (!isNumericValue(text)) return fallback;
    const int value = textToInt(text);
    return value < least || value > most ? fallback : value;
}
