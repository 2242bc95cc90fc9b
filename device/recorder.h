#ifndef DEVICE_RECORDER_H
#define DEVICE_RECORDER_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "recording/json_line.h"

// Records what passes on the ports (docs/recordings.md). Off, it costs one branch for each read and
// write. Secrets and identities are replaced before anything is written.

struct sRecordSettings {
    std::string path;
    std::string olderPath;
    size_t fileBytes = 0;  // of each of the two files
    bool keepIdentities = false;
    std::string program;
    int slot = 0;
    bool isRetry = false;           // its failure is no news
    void (*markState)() = nullptr;  // makes the mark for the beginning of each file
};

extern bool g_b_recording;
inline bool isRecording() {
    return g_b_recording;
}

// Begins a recording. False with errno set if its file cannot be written.
bool startRecording(const sRecordSettings& settings);
// Ends it; the reason is its last line. Nothing happens if none runs.
void stopRecording(const char* reason);
// The errno value for which a recording ended by itself, 0 if none did. From the second call on 0.
int takeRecordingFailure();

// Writes what has been recorded so far. Bytes are otherwise written when there are some kilobytes
// of them, or some of a second ago; everything else at once.
void flushRecording();

// A secret that may pass on the ports in any form: it is replaced wherever it comes.
void hideFromRecording(const std::string& secret);

// The ports. Opening and closing are noted while nothing is recorded too.
void noteOpenPort(int port, const std::string& path);
void noteClosedPort(int port);
// A port cannot be opened: recorded when it begins, and when the errno value changes.
void noteFailedOpen(const std::string& path, int error);
void recordWrite(int port, const char* data, size_t size);
// A command and its carriage return, which has just been written; the command was at textMs of
// timerClockMs().
void recordCommand(int port, const char* text, size_t size, uint64_t textMs);
void recordRead(int port, const char* data, size_t size);
// A look at the port found nothing to read. Many of them, one after the other, flush.
void recordSilence();
// The device is gone: error is the errno value, 0 if the port's state says so. Once for each port.
void recordHangUp(int port, int error);

// A mark of the layers above: a line with a name and values. It is recorded when the object ends.
// Use it only while a recording runs.
class cRecordMark {
  public:
    // The name and all keys have nothing that JSON escapes.
    explicit cRecordMark(const char* name);
    ~cRecordMark();
    cRecordMark(const cRecordMark&) = delete;
    cRecordMark& operator=(const cRecordMark&) = delete;

    void text(std::string_view key, const std::string& value);
    void number(std::string_view key, long long value);
    // A list: add() its elements, then endList().
    void beginList(std::string_view key);
    void add(const std::string& element);
    void endList() { m_line.add(']'); }
    // An object: its members, then endValues().
    void beginValues(std::string_view key);
    void identity(std::string_view key, const std::string& value);
    void nothing(std::string_view key);
    void endValues() { m_line.add('}'); }

  private:
    void key(std::string_view name);

    cTextBuffer m_line;
};

// For tests: as if the process had just started.
void resetRecorder();

#endif
