#include "http/readers.h"

namespace {

// Shows now and then that the other end is still there: a page that hears nothing for longer says
// so.
constexpr long long SILENCE_MAX_S = 5;
constexpr long long PATIENCE_S = 20;
constexpr size_t BLOCK_SIZE = 1024;

const cStreamSource::tMessage ALIVE = streamMessage("alive", "{}");

}  // namespace

MHD_Response* cReaders::add(MHD_Connection* request, cConnections::sConnection& connection,
                            long long nowS) {
    m_nowS = nowS;
    m_readers.push_back({this, request, &connection, {}, nullptr, 0, false, nowS});
    MHD_Response* response = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, BLOCK_SIZE, fill,
                                                               &m_readers.back(), remove);
    if (response == nullptr) m_readers.pop_back();
    return response;
}

cStreamSource::tMessage cReaders::nextMessage(sReader& reader) const {
    cStreamSource::tMessage message = m_live.next(reader.position);
    const bool isSilent = m_nowS - reader.lastReadS >= SILENCE_MAX_S;
    return message == nullptr && isSilent ? ALIVE : message;
}

ssize_t cReaders::fill(void* argument, uint64_t /*position*/, char* buffer, size_t size) {
    auto& reader = *static_cast<sReader*>(argument);
    if (reader.owner->m_isEnding) return MHD_CONTENT_READER_END_OF_STREAM;
    if (reader.message == nullptr || reader.sent == reader.message->size()) {
        reader.message = reader.owner->nextMessage(reader);
        reader.sent = 0;
    }
    if (reader.message == nullptr) {
        reader.isSuspended = true;
        MHD_suspend_connection(reader.request);
        return 0;
    }
    const size_t count = reader.message->copy(buffer, size, reader.sent);
    reader.sent += count;
    reader.lastReadS = reader.owner->m_nowS;
    return static_cast<ssize_t>(count);
}

void cReaders::remove(void* argument) {
    auto* reader = static_cast<sReader*>(argument);
    reader->owner->m_readers.remove_if([reader](const sReader& other) { return &other == reader; });
}

bool cReaders::serve(long long nowS) {
    bool isWoken = false;
    m_nowS = nowS;
    for (sReader& reader : m_readers) {
        const long long silenceS = nowS - reader.lastReadS;
        const bool hasNews = m_live.hasNext(reader.position) || silenceS >= SILENCE_MAX_S;
        if (reader.isSuspended && hasNews) {
            reader.isSuspended = false;
            MHD_resume_connection(reader.request);
            isWoken = true;
        } else if (!reader.isSuspended && silenceS > PATIENCE_S) {
            cConnections::cutOff(*reader.connection);
        }
    }
    return isWoken;
}

void cReaders::end() {
    m_isEnding = true;
    for (sReader& reader : m_readers) {
        if (!reader.isSuspended) continue;
        reader.isSuspended = false;
        MHD_resume_connection(reader.request);
    }
}
