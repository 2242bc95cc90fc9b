#include "platform/include/error_sink.h"
#include "platform/include/key_value_store.h"

// For a gateway whose store has no batches: each set is then written at once. A store with batches
// defines its own two functions, which replace these.

__attribute__((weak)) void skvs_batch_begin() {}

__attribute__((weak)) int skvs_batch_end() {
    return 0;
}

// Nothing is known of what others store, so every value is set again.
__attribute__((weak)) bool skvs_untouched() {
    return false;
}

// A platform that reports its errors itself passes none to the sink.
__attribute__((weak)) void setErrorSink(tErrorSink) {}
