#ifndef INCLUDE_REPEATED_NOTICES_H
#define INCLUDE_REPEATED_NOTICES_H

#include <cstdint>

// What stays the same is said once. Most of what the daemon does it does again: each pass, each
// check of the messages, each start of a session. Each of these activities remembers the notices
// and errors of its last runs; one that comes again is a debug message of that activity, until a
// run goes by without it. The activities lie inside a pass: outside of one nothing is remembered
// but what the process before logged (include/repeated_starts.h).

enum eRepeatedWork : int {
    eWORK_PASS,       // of the main loop; the others lie in it
    eWORK_POLL,       // of a modem that is set up
    eWORK_SESSION,    // start of the data session, or the look at one that is up
    eWORK_SMS,        // check of the messages
    eWORK_SMS_SWEEP,  // search for messages that are too old
    eWORK_STATUS,     // write of the status files
    eWORK_CLOCK,      // setting of the host's clock
    eREPEATED_WORKS,
};

// One run of a work, from its construction to its end. They nest; a notice belongs to the
// innermost.
class cRepeatedRun {
  public:
    explicit cRepeatedRun(eRepeatedWork work);
    ~cRepeatedRun();
    cRepeatedRun(const cRepeatedRun&) = delete;
    cRepeatedRun& operator=(const cRepeatedRun&) = delete;

    // The run only waited: that it said nothing does not mean that all is well.
    void nothingTried() { m_tried = false; }

  private:
    eRepeatedWork m_work;
    int m_outer;
    bool m_counts;
    bool m_tried = true;
};

// Something that somebody asked for, or that happened once: what it says is never a repetition.
class cSingleEvent {
  public:
    cSingleEvent();
    ~cSingleEvent();
    cSingleEvent(const cSingleEvent&) = delete;
    cSingleEvent& operator=(const cSingleEvent&) = delete;

  private:
    int m_outer;
};

// What is said meanwhile has other numbers each time, such as a time in the name of a file: without
// them it is the same.
class cVaryingNumbers {
  public:
    cVaryingNumbers();
    ~cVaryingNumbers();
    cVaryingNumbers(const cVaryingNumbers&) = delete;
    cVaryingNumbers& operator=(const cVaryingNumbers&) = delete;

  private:
    bool m_outer;
};

// For debug(): notes a notice or an error. 0 when it is news, otherwise the debug category of the
// work that repeats it.
uint64_t categoryOfRepeated(const char* message);

// For tests: nothing was said yet.
void resetRepeatedNotices();

#endif
