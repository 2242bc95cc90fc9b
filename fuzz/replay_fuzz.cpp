#include "le910sim/replay.h"

#include <sstream>
#include <stdexcept>

#include "fuzz/check.h"
#include "fuzz/input.h"

// A recording of which nobody knows where it comes from, as le910sim reads and replays it. The
// first octet chooses speed, strictness, and whether the program leaves commands out.

namespace {

using namespace le910sim;

constexpr size_t MESSAGE_MAX = 2000;
constexpr uint64_t HANG_UP_GRACE_MS = 10000;

bool readText(const std::string& text, sRecording& recording) {
    std::istringstream input(text);
    try {
        recording = readRecording(input, "file");
        return true;
    } catch (const std::runtime_error& problem) {
        const std::string what = problem.what();
        check(!hasControlCharacter(what) && what.size() < MESSAGE_MAX, "the message can be shown",
              what);
        check(what.find(", expected ") != std::string::npos, "and says what was expected", what);
        return false;
    }
}

// What was read is the same when it is written and read again.
void checkWrittenAgain(const sRecording& recording) {
    std::string text = R"({"recording":1})"
                       "\n";
    uint64_t lastMs = 0;
    for (const sRecordedEvent& event : recording.events) {
        check(event.ms >= lastMs, "times do not decrease", text);
        lastMs = event.ms;
        text += recordedLine(event);
    }
    sRecording again;
    if (!readText(text, again)) return;  // runs that are counted on may exceed the longest time
    check(again.events.size() == recording.events.size() && !again.torn, "every line is there",
          text);
    for (size_t i = 0; i < again.events.size(); ++i) {
        const sRecordedEvent& one = recording.events[i];
        const sRecordedEvent& other = again.events[i];
        check(one.ms == other.ms && one.kind == other.kind && one.port == other.port &&
                  one.bytes == other.bytes,
              "and means the same", text);
    }
}

// The program sends what it sent when it was recorded, or only some of it.
class cProgram {
  public:
    cProgram(const sRecording& recording, unsigned choice)
        : m_replay(recording, (choice & 1U) != 0 ? 7 : 1, (choice & 2U) != 0),
          m_leavesOut((choice & 4U) != 0) {}

    void run(const sRecording& recording) {
        for (const sRecordedEvent& event : recording.events) {
            const uint64_t ms = std::max(m_nowMs, m_replay.replayedMs(event.ms));
            m_nowMs = ms;
            m_replay.advance(ms);
            takeOutput();
            if (event.kind != eRECORDED_WRITE || isLeftOut()) continue;
            m_replay.receive(event.port, event.bytes, ms);
        }
        // A hang-up comes even if the program has not sent what it sent before it.
        m_replay.advance(m_replay.replayedMs(recording.endMs()) + HANG_UP_GRACE_MS);
        takeOutput();
        check(m_replay.isOver() == m_replay.place().empty(), "it is over, or there is a place");
        check(!m_replay.isStopped() || !m_replay.firstDifference().empty(), "it says why it stops");
        for (const std::string& text : {m_replay.place(), m_replay.firstDifference()})
            check(text.size() < MESSAGE_MAX, "what it says is bounded", text);
    }

  private:
    bool isLeftOut() { return m_leavesOut && ++m_writes % 3 == 0; }
    void takeOutput() {
        for (const ePort port : {ePORT_AT, ePORT_GPS})
            m_replay.takeOutput(port);
    }

    cReplay m_replay;
    bool m_leavesOut;
    unsigned m_writes = 0;
    uint64_t m_nowMs = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cInput input(data, size);
    const unsigned choice = input.takeByte();
    sRecording recording;
    if (!readText(input.takeRest(), recording)) return 0;
    checkWrittenAgain(recording);
    cProgram(recording, choice).run(recording);
    return 0;
}
