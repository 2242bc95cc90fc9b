#ifndef HTTP_READERS_H
#define HTTP_READERS_H

#include <microhttpd.h>

#include <list>

#include "http/connections.h"
#include "http/stream_source.h"

// The readers of the stream of live values. One that has everything is suspended, so it costs
// nothing until there is something to send.
class cReaders {
  public:
    explicit cReaders(const cStreamSource& source) : m_live(source) {}

    static constexpr size_t READERS_MAX = 240;

    // Makes the body of the answer for a new reader; the reader ends with it. nullptr: no memory.
    // connection: its end is decided here from now on.
    MHD_Response* add(MHD_Connection* request, cConnections::sConnection& connection,
                      long long nowS);

    bool isFull() const { return m_readers.size() >= READERS_MAX; }
    bool isEmpty() const { return m_readers.empty(); }

    // Wakes those for which there is something, and cuts off those that do not read. True if one
    // was woken: then the library has to run.
    bool serve(long long nowS);
    // Ends all streams, so that the library can be stopped.
    void end();

  private:
    struct sReader {
        cReaders* owner;
        MHD_Connection* request;
        cConnections::sConnection* connection;
        cStreamSource::sPosition position;
        cStreamSource::tMessage message;
        size_t sent = 0;
        bool isSuspended = false;
        long long lastReadS = 0;  // when it last took something
    };

    static ssize_t fill(void* reader, uint64_t position, char* buffer, size_t size);
    static void remove(void* reader);
    cStreamSource::tMessage nextMessage(sReader& reader) const;

    const cStreamSource& m_live;
    std::list<sReader> m_readers;
    long long m_nowS = 0;
    bool m_isEnding = false;
};

#endif
