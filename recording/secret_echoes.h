#ifndef RECORDING_SECRET_ECHOES_H
#define RECORDING_SECRET_ECHOES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What a received line looks like.
enum class eLineForm {
    UNKNOWN,
    GARBAGE,
    EXPECTED,  // the last command has answers without a name
    NAMED,     // an answer with a name that is known, or a PDU
};

// The lines that were written on a port and lost something in the recording. For as long as an echo
// of one can come, whatever of a received line may be a part of it loses the same: the echo can be
// cut by other lines, lose or change bytes, come late, and come twice.
class cSecretEchoes {
  public:
    // The longest time-out of a command is three minutes; after that nobody waits for its answer.
    static constexpr uint64_t ECHO_WAIT_MS = 200000;

    void add(const std::string& written, const std::string& recorded, uint64_t ms, uint64_t waitMs);
    // A command that nobody has seen may have had a secret: what is not known must be hidden.
    void expectUnknown(uint64_t ms) { m_unknownUntilMs = m_untilMs = ms + ECHO_WAIT_MS; }
    // The clock begins anew.
    void restartClock();

    bool isExpected(uint64_t ms) const { return ms < m_untilMs; }
    bool isUnknownExpected(uint64_t ms) const { return ms < m_unknownUntilMs; }
    // Changes with each line that is added.
    size_t version() const { return m_next; }

    // Hides in a received line what may be a part of an echo. True if it is a whole echo: nothing
    // of it is left to be hidden.
    bool hideIn(char* line, size_t size, eLineForm form, uint64_t ms);

  private:
    static constexpr size_t ECHOES_MAX = 8;
    static constexpr size_t ECHO_SIZE_MAX = 512;

    struct sEcho {
        std::string written;
        std::string recorded;
        uint64_t untilMs = 0;
    };

    struct sRun;
    static bool isPart(const sEcho& echo, const sRun& run, size_t lineSize, eLineForm form);
    void hidePart(const sEcho& echo, char* line, eLineForm form);
    bool isMostlyEcho(eLineForm form) const;
    void show(const sEcho& echo, const sRun& run);
    void markRuns(const sEcho& echo, eLineForm form);
    void markNear(const sEcho& echo);

    std::array<sEcho, ECHOES_MAX> m_echoes;
    size_t m_next = 0;
    uint64_t m_untilMs = 0;  // of the latest one
    uint64_t m_unknownUntilMs = 0;
    // Of the line that is looked at: as it was, and what is shown of it ('\0': as it was).
    std::string m_line;
    std::string m_shown;
    std::vector<bool> m_isOfEcho;
    size_t m_runMin = 0;  // that counts as a part of an echo
};

#endif
