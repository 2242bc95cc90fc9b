#ifndef INCLUDE_REPEATED_NOTICES_H
#define INCLUDE_REPEATED_NOTICES_H

#include <cstdint>

// What stays the same is logged once. The daemon repeats most of its work: each pass, each check of
// the messages, each start of a session. Each kind of work remembers the notices and errors of its
// last runs; one that comes again is only a debug message of that work until a run passes without
// it. All work is done in a pass: outside of one nothing is remembered except what the previous
// process logged (include/repeated_starts.h).

enum eRepeatedWork : int {
    eWORK_PASS,       // pass of the main loop; it contains the others
    eWORK_POLL,       // poll of a modem that is set up
    eWORK_SESSION,    // start of the data session, or check of a running one
    eWORK_SMS,        // check of the messages
    eWORK_SMS_SWEEP,  // search for messages that are too old
    eWORK_STATUS,     // write of the status files
    eWORK_CLOCK,      // setting of the host's clock
    eREPEATED_WORKS,
};

// One run of a work, from construction to destruction. Runs nest; a notice belongs to the
// innermost.
class cRepeatedRun {
  public:
    explicit cRepeatedRun(eRepeatedWork work);
    ~cRepeatedRun();
    cRepeatedRun(const cRepeatedRun&) = delete;
    cRepeatedRun& operator=(const cRepeatedRun&) = delete;

    // The run only waited: that it logged nothing does not mean that all is well.
    void nothingTried() { m_tried = false; }

  private:
    eRepeatedWork m_work;
    int m_outer;
    bool m_counts;
    bool m_tried = true;
};

// Something that was requested or happened once: what it logs never counts as a repetition.
class cSingleEvent {
  public:
    cSingleEvent();
    ~cSingleEvent();
    cSingleEvent(const cSingleEvent&) = delete;
    cSingleEvent& operator=(const cSingleEvent&) = delete;

  private:
    int m_outer;
};

// While one exists, messages are compared without their numbers, which change each time, such as a
// time in the name of a file.
class cVaryingNumbers {
  public:
    cVaryingNumbers();
    ~cVaryingNumbers();
    cVaryingNumbers(const cVaryingNumbers&) = delete;
    cVaryingNumbers& operator=(const cVaryingNumbers&) = delete;

  private:
    bool m_outer;
};

// For debug(): notes a notice or an error. Returns 0 if it is new, otherwise the debug category of
// the work that repeats it.
uint64_t categoryOfRepeated(const char* message);

// For tests: forgets everything logged.
void resetRepeatedNotices();

#endif
