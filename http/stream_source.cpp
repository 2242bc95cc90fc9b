#include "http/stream_source.h"

cStreamSource::tMessage streamMessage(const char* name, const std::string& data) {
    return std::make_shared<const std::string>(std::string("event: ") + name + "\ndata: " + data +
                                               "\n\n");
}
