#include "recording/secret_echoes.h"

#include <algorithm>
#include <cstring>

#include "recording/secrets.h"

namespace {

// In a line that nobody knows, two characters as in the command are a part of it.
constexpr size_t RUN_MIN = 2;
// Garbage has such a run by chance, unless it is where a line begins or ends.
constexpr size_t GARBAGE_RUN_MIN = 3;
constexpr size_t GARBAGE_BYTES_MIN = 2;
// ",1" is also the end of an answer that garbage has cut.
constexpr size_t GARBAGE_HIDDEN_MIN = 2;
// In a known answer more of the command must be there, beside what is hidden: a name of an APN may
// be the user's name too.
constexpr size_t NAMED_RUN_MIN = 6;
constexpr size_t NAMED_CONTEXT_MIN = 4;
// Characters of a secret that are so close to a part of it, or in a line that short, belong to it:
// the byte between them was lost or changed.
constexpr size_t NEAR = 4;
// The same for a part of the command that has nothing of the secret.
constexpr size_t NEXT = 2;
// In a longer answer two equal characters say nothing.
constexpr size_t SHORT_ANSWER = 12;

bool isGarbage(const std::string& line) {
    const auto isOther = [](char c) { return c < ' ' || c > '~'; };
    return std::count_if(line.begin(), line.end(), isOther) >=
           static_cast<std::ptrdiff_t>(GARBAGE_BYTES_MIN);
}

}  // namespace

// A part of a line that equals a part of what was written.
struct cSecretEchoes::sRun {
    size_t inLine;
    size_t inEcho;
    size_t size;
};

void cSecretEchoes::add(const std::string& written, const std::string& recorded, uint64_t ms,
                        uint64_t waitMs) {
    ++m_next;
    // Longer than any message: too much to be compared.
    if (written.size() > ECHO_SIZE_MAX) return expectUnknown(ms);
    const uint64_t untilMs = ms + waitMs;
    m_untilMs = std::max(m_untilMs, untilMs);
    for (sEcho& echo : m_echoes)
        if (echo.written == written) {
            echo = {written, recorded, std::max(echo.untilMs, untilMs)};
            return;
        }
    sEcho& oldest = *std::min_element(
        m_echoes.begin(), m_echoes.end(),
        [](const sEcho& one, const sEcho& other) { return one.untilMs < other.untilMs; });
    // More of them than are kept: the oldest is a command that nobody has seen.
    if (oldest.untilMs > ms) expectUnknown(ms);
    oldest = {written, recorded, untilMs};
}

void cSecretEchoes::restartClock() {
    for (sEcho& echo : m_echoes)
        echo.untilMs = echo.untilMs == 0 ? 0 : ECHO_WAIT_MS;
    m_untilMs = m_untilMs == 0 ? 0 : ECHO_WAIT_MS;
    m_unknownUntilMs = m_unknownUntilMs == 0 ? 0 : ECHO_WAIT_MS;
}

bool cSecretEchoes::hideIn(char* line, size_t size, eLineForm form, uint64_t ms) {
    m_line.assign(line, size);
    for (const sEcho& echo : m_echoes) {
        if (echo.untilMs <= ms || echo.written != m_line) continue;
        memcpy(line, echo.recorded.data(), size);
        return true;
    }
    if (form != eLineForm::NAMED && isGarbage(m_line)) form = eLineForm::GARBAGE;
    for (const sEcho& echo : m_echoes)
        if (echo.untilMs > ms) hidePart(echo, line, form);
    return false;
}

void cSecretEchoes::hidePart(const sEcho& echo, char* line, eLineForm form) {
    const size_t size = m_line.size();
    m_shown.assign(size, '\0');
    m_isOfEcho.assign(size, false);
    m_runMin = size <= SHORT_ANSWER && form != eLineForm::NAMED ? RUN_MIN : RUN_MIN + 1;
    const bool isAnswer = form == eLineForm::EXPECTED || form == eLineForm::NAMED;
    markRuns(echo, isAnswer ? eLineForm::UNKNOWN : form);
    if (isAnswer && !isMostlyEcho(form)) {
        m_shown.assign(size, '\0');
        markRuns(echo, eLineForm::NAMED);
    } else if (form != eLineForm::GARBAGE) {
        markNear(echo);
    }
    for (size_t at = 0; at < size; ++at)
        if (m_shown[at] != '\0') line[at] = m_shown[at];
}

// An answer such as the model's name has a part of a PIN by chance, and "+CPIN: READY" a part of
// the command. A rest of an echo has little else, also if its "=" became a ":".
bool cSecretEchoes::isMostlyEcho(eLineForm form) const {
    const size_t size = m_line.size();
    const auto ofEcho = static_cast<size_t>(std::count(m_isOfEcho.begin(), m_isOfEcho.end(), true));
    if (form == eLineForm::NAMED) return ofEcho * 4 >= size * 3;
    return size <= NEAR || ofEcho * 2 >= size;
}

bool cSecretEchoes::isPart(const sEcho& echo, const sRun& run, size_t lineSize, eLineForm form) {
    size_t hidden = 0;
    for (size_t i = run.inEcho; i < run.inEcho + run.size; ++i)
        if (echo.written[i] != echo.recorded[i]) ++hidden;
    if (hidden == 0) return false;
    if (run.size == lineSize) return true;
    if (form == eLineForm::UNKNOWN) return run.size >= RUN_MIN;
    if (form == eLineForm::GARBAGE) {
        const bool isAtEnd = run.inLine == 0 || run.inLine + run.size == lineSize;
        return hidden >= GARBAGE_HIDDEN_MIN && run.size >= (isAtEnd ? RUN_MIN : GARBAGE_RUN_MIN);
    }
    return run.size >= NAMED_RUN_MIN && run.size - hidden >= NAMED_CONTEXT_MIN;
}

// What is not hidden in this part may be hidden in another one.
void cSecretEchoes::show(const sEcho& echo, const sRun& run) {
    for (size_t i = 0; i < run.size; ++i)
        if (echo.written[run.inEcho + i] != echo.recorded[run.inEcho + i])
            m_shown[run.inLine + i] = echo.recorded[run.inEcho + i];
}

// Compares the line with the echo at every distance.
void cSecretEchoes::markRuns(const sEcho& echo, eLineForm form) {
    const size_t lineSize = m_line.size();
    const size_t echoSize = echo.written.size();
    for (size_t shift = 1; shift < lineSize + echoSize; ++shift) {
        // The echo's last byte meets the line's first one at shift 1.
        size_t inLine = shift > echoSize ? shift - echoSize : 0;
        size_t inEcho = shift > echoSize ? 0 : echoSize - shift;
        sRun run = {inLine, inEcho, 0};
        for (; inLine <= lineSize && inEcho <= echoSize; ++inLine, ++inEcho) {
            if (inLine < lineSize && inEcho < echoSize && m_line[inLine] == echo.written[inEcho]) {
                ++run.size;
                continue;
            }
            if (run.size >= m_runMin)
                std::fill_n(m_isOfEcho.begin() + static_cast<std::ptrdiff_t>(run.inLine), run.size,
                            true);
            if (run.size > 0 && isPart(echo, run, lineSize, form)) show(echo, run);
            run = {inLine + 1, inEcho + 1, 0};
        }
    }
}

void cSecretEchoes::markNear(const sEcho& echo) {
    std::array<bool, 256> isOfSecret{};
    for (size_t i = 0; i < echo.written.size(); ++i)
        if (echo.written[i] != echo.recorded[i])
            isOfSecret[static_cast<unsigned char>(echo.written[i])] = true;
    const std::string marked = m_shown;
    const auto isAround = [&](size_t at, size_t distance, auto isPartAt) {
        const size_t end = std::min(m_line.size(), at + distance + 1);
        for (size_t i = at > distance ? at - distance : 0; i < end; ++i)
            if (isPartAt(i)) return true;
        return false;
    };
    for (size_t at = 0; at < m_line.size(); ++at) {
        if (marked[at] != '\0' || !isOfSecret[static_cast<unsigned char>(m_line[at])]) continue;
        if (m_line.size() <= NEAR ||
            isAround(at, NEAR, [&](size_t i) { return marked[i] != '\0'; }) ||
            isAround(at, NEXT, [&](size_t i) { return m_isOfEcho[i]; }))
            m_shown[at] = hiddenCharacter(m_line[at]);
    }
}
