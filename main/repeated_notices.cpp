#include "include/repeated_notices.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "include/debug.h"
#include "include/repeated_starts.h"
#include "platform/include/timer_clock.h"

namespace {

constexpr int NO_WORK = -1;
constexpr size_t NOTICES_MAX = 128;  // of one work
// Category of what the previous process logged outside of a pass too.
constexpr uint64_t CATEGORY_OUTSIDE = eLOG_STATE;

struct sWorkRow {
    eRepeatedWork work;
    uint64_t category;  // of its repetitions
    // How many runs without a notice may lie between its repetitions: a fault can show itself
    // differently in each pass, such as a session that starts in one and fails in the next.
    uint8_t otherRuns;
    bool isSlow;  // not run in each pass
    // After this time without a run or a message, everything is new again. Longer than every pause
    // between two attempts: 30 s after a failed start of the session, plus the time-outs of its
    // commands; five minutes after the clock could not be set; fifteen minutes between sweeps.
    uint64_t keptMs;
};

constexpr sWorkRow WORKS[] = {
    {eWORK_PASS, eLOG_STATE, 1, false, 120000},      //
    {eWORK_POLL, eLOG_AT_DETAIL, 0, false, 120000},  //
    {eWORK_SESSION, eLOG_POLICY, 1, true, 120000},   //
    {eWORK_SMS, eLOG_SMS, 0, true, 120000},          //
    {eWORK_SMS_SWEEP, eLOG_SMS, 0, false, 1800000},  //
    {eWORK_STATUS, eLOG_STATUS, 0, false, 120000},   //
    {eWORK_CLOCK, eLOG_STATE, 0, true, 900000},
};
static_assert(sizeof WORKS / sizeof WORKS[0] == eREPEATED_WORKS, "a row for each work, in order");

// A notice is identified by the hash of its text.
struct sNotice {
    uint64_t hash;
    uint8_t runsWithout;
    bool saidNow;     // in the current run
    bool saidBefore;  // in an earlier run
};

struct sWorkMemory {
    std::array<sNotice, NOTICES_MAX> notices;
    size_t count = 0;
    bool running = false;
    bool spoke = false;       // in the current run
    bool overflows = false;   // the current run logs more than fits
    bool overflowed = false;  // the previous run did
    uint64_t spokeMs = 0;
    uint64_t lastPass = 0;         // the last pass in which it tried something
    bool hasConsequences = false;  // when this work failed, its pass logged something too
};

struct sRepeatedNoticesState {
    std::array<sWorkMemory, eREPEATED_WORKS> works;
    int current = NO_WORK;
    int singleEvents = 0;  // depth of nesting
    uint64_t pass = 0;
    bool numbersVary = false;
};

sRepeatedNoticesState g_repeatedState;

uint64_t hashOf(const char* text, bool withoutNumbers) {
    constexpr uint64_t FNV_START = 0xcbf29ce484222325U;
    constexpr uint64_t FNV_PRIME = 0x100000001b3U;
    uint64_t hash = FNV_START;
    for (; *text != '\0'; ++text) {
        if (withoutNumbers && *text >= '0' && *text <= '9') continue;
        hash = (hash ^ static_cast<unsigned char>(*text)) * FNV_PRIME;
    }
    return hash;
}

void forget(sWorkMemory& memory) {
    memory.count = 0;
    memory.overflowed = false;
    memory.hasConsequences = false;
}

// Work that is not tried in each pass failed last time, and its pass logged something about it.
// Until the next try, a pass without messages does not mean that the fault is over.
bool holdsPass(const sWorkRow& row) {
    const sWorkMemory& memory = g_repeatedState.works[row.work];
    return row.isSlow && memory.count != 0 && memory.hasConsequences;
}

bool isPassHeld() {
    return std::any_of(std::begin(WORKS), std::end(WORKS), holdsPass);
}

// For the work that ran in the pass that ends.
void noteConsequences(bool passSpoke) {
    for (sWorkMemory& memory : g_repeatedState.works)
        if (memory.lastPass == g_repeatedState.pass) memory.hasConsequences = passSpoke;
}

uint64_t keptMs(int work) {
    uint64_t keptMs = WORKS[work].keptMs;
    if (work != eWORK_PASS) return keptMs;
    for (const sWorkRow& row : WORKS)
        if (holdsPass(row)) keptMs = std::max(keptMs, row.keptMs);
    return keptMs;
}

// The notices that the next run is compared with.
void ageNotices(sWorkMemory& memory, bool forgetting, uint8_t otherRuns) {
    size_t kept = 0;
    for (size_t i = 0; i < memory.count; ++i) {
        sNotice notice = memory.notices[i];
        if (notice.saidNow)
            notice.runsWithout = 0;
        else if (forgetting && ++notice.runsWithout > otherRuns)
            continue;
        notice.saidBefore = true;
        notice.saidNow = false;
        memory.notices[kept++] = notice;
    }
    memory.count = kept;
    if (memory.spoke) memory.overflowed = memory.overflows;
}

void beginRun(int work) {
    sWorkMemory& memory = g_repeatedState.works[work];
    if (memory.count != 0 && timerClockMs() - memory.spokeMs > keptMs(work)) forget(memory);
    if (work == eWORK_PASS) ++g_repeatedState.pass;
    memory.running = true;
    memory.spoke = false;
    memory.overflows = false;
}

void endRun(int work, bool tried) {
    sWorkMemory& memory = g_repeatedState.works[work];
    memory.running = false;
    if (tried) memory.lastPass = g_repeatedState.pass;
    if (memory.count == 0) return;
    if (memory.spoke) memory.spokeMs = timerClockMs();
    if (work == eWORK_PASS) noteConsequences(memory.spoke);
    const bool waits = !tried || (work == eWORK_PASS && !memory.spoke && isPassHeld());
    if (memory.spoke || waits)
        ageNotices(memory, !waits, WORKS[work].otherRuns);
    else
        forget(memory);
}

// True if an earlier run logged it too.
bool note(sWorkMemory& memory, uint64_t hash) {
    memory.spoke = true;
    sNotice* const end = memory.notices.data() + memory.count;
    sNotice* const known = std::find_if(
        memory.notices.data(), end, [hash](const sNotice& notice) { return notice.hash == hash; });
    if (known != end) {
        known->saidNow = true;
        return known->saidBefore;
    }
    if (memory.count == NOTICES_MAX) {
        memory.overflows = true;
        return memory.overflowed;
    }
    memory.notices[memory.count++] = {hash, 0, true, false};
    return false;
}

}  // namespace

cRepeatedRun::cRepeatedRun(eRepeatedWork work) : m_work(work), m_outer(g_repeatedState.current) {
    m_counts = !g_repeatedState.works[work].running && (work == eWORK_PASS || m_outer != NO_WORK);
    if (!m_counts) return;
    beginRun(work);
    g_repeatedState.current = work;
}

cRepeatedRun::~cRepeatedRun() {
    if (!m_counts) return;
    g_repeatedState.current = m_outer;
    endRun(m_work, m_tried);
}

cSingleEvent::cSingleEvent() : m_outer(g_repeatedState.current) {
    g_repeatedState.current = NO_WORK;
    ++g_repeatedState.singleEvents;
}

cSingleEvent::~cSingleEvent() {
    --g_repeatedState.singleEvents;
    g_repeatedState.current = m_outer;
}

cVaryingNumbers::cVaryingNumbers() : m_outer(g_repeatedState.numbersVary) {
    g_repeatedState.numbersVary = true;
}

cVaryingNumbers::~cVaryingNumbers() {
    g_repeatedState.numbersVary = m_outer;
}

uint64_t categoryOfRepeated(const char* message) {
    if (g_repeatedState.singleEvents != 0) return 0;
    const int work = g_repeatedState.current;
    const uint64_t hash = hashOf(message, g_repeatedState.numbersVary);
    if (work == NO_WORK) return wasLoggedByLastRun(hash) ? CATEGORY_OUTSIDE : 0;
    const bool isRepeated = note(g_repeatedState.works[work], hash) || wasLoggedByLastRun(hash);
    return isRepeated ? WORKS[work].category : 0;
}

void resetRepeatedNotices() {
    g_repeatedState = {};
    resetRepeatedStarts();
}
