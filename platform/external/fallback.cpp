#include "platform/include/error_sink.h"
#include "platform/include/key_value_store.h"

// For a gateway whose store does not gather sets: each set then stands for itself. A store that
// does brings its own two functions, which take the place of these.

__attribute__((weak)) void skvs_batch_begin() {}

__attribute__((weak)) int skvs_batch_end() {
    return 0;
}

// A platform that reports its errors itself hands none over.
__attribute__((weak)) void setErrorSink(tErrorSink) {}
