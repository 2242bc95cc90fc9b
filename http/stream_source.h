#ifndef HTTP_STREAM_SOURCE_H
#define HTTP_STREAM_SOURCE_H

#include <memory>
#include <string>

// What the readers of a stream of server-sent events get. All readers share a text, and none is
// kept for a slow one, so nothing queues up.
class cStreamSource {
  public:
    using tMessage = std::shared_ptr<const std::string>;

    // What a reader has got so far; the source counts as it likes.
    struct sPosition {
        unsigned whole = 0;
        unsigned part = 0;
    };

    virtual ~cStreamSource() = default;
    // The next message for a reader, whose position moves on; nullptr if it has everything.
    virtual tMessage next(sPosition& position) const = 0;
    virtual bool hasNext(const sPosition& position) const = 0;
};

// "event: NAME" with its data, which is one line.
cStreamSource::tMessage streamMessage(const char* name, const std::string& data);

#endif
