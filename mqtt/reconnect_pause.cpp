#include "mqtt/reconnect_pause.h"

#include <algorithm>

int64_t cReconnectPause::next(uint32_t random) {
    const int64_t whole = m_wholeMs;
    m_wholeMs = std::min(2 * whole, LONGEST_MS);
    return whole / 2 + random % (whole / 2 + 1);
}
