#include "device/late_answers.h"

#include <cstdint>
#include <string>

#include "device/at_port.h"
#include "device/link_state.h"
#include "include/debug.h"
#include "include/service_manager.h"
#include "include/sleep.h"

namespace {

constexpr unsigned DROP_POLL_US = 10000;
// The limit when no clock runs or the modem never stops sending.
constexpr uint64_t DROP_POLLS_MAX = LATE_ANSWER_MS * 1000 / DROP_POLL_US;

}  // namespace

void dropLateAnswers(int port) {
    if (!isAnswerOwed(port)) return;
    debug(eLOG_PORT_STATE, g_i_debugMode, "%s(): Dropping late answers of the modem", __func__);
    cFinalCodes finals;
    std::string piece;
    for (uint64_t poll = 0; poll < DROP_POLLS_MAX; ++poll) {
        const int count = readFromPort(port, piece, static_cast<int>(PORT_READ_MAX));
        finals.add(piece);
        if (count < 0 || (count == 0 && isLateInputOver(port, finals.count()))) break;
        notifyAlive();
        sleepMicroseconds(DROP_POLL_US);
    }
    noteDroppedAnswers(port, finals.count());
}
