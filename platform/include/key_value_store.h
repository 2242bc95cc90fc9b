#ifndef PLATFORM_INCLUDE_KEY_VALUE_STORE_H
#define PLATFORM_INCLUDE_KEY_VALUE_STORE_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// The host's key-value store. It survives a restart of the daemon, but not of the host. Several
// processes may read and write it at once.

// Puts the value into buffer, cut to size - 1 bytes and always terminated. Returns the length of
// the stored value, or -1 with an empty text if the key is missing or the store cannot be read.
int skvs_get(const char* key, char* buffer, size_t size);

// Returns 0, or another value if the key could not be stored; a store that cannot be written is
// logged once. A value that is already stored is not written again. A key is 1 to 500 bytes long, a
// value at most 4096.
int skvs_set(const char* key, const char* value);

// Between begin and end the sets of this process are collected; the end writes them together, and
// nobody can read them before. Batches do not nest. skvs_batch_end returns 0, or another value if
// some could not be stored; the others are stored. In a platform without batches both may do
// nothing.
void skvs_batch_begin();
int skvs_batch_end();

// Whether nothing but the batches of this process has been written to the store since the last
// call: then all that these stored is still there. False if that is not known, as in a platform
// without this function.
bool skvs_untouched();

// Every key that starts with prefix, with its value, in the order of the keys. Returns false if the
// store cannot be read (errno holds the cause if the system gave one); a store that was never
// written is empty.
bool skvs_list(const std::string& prefix, std::vector<std::pair<std::string, std::string>>& out);

// For tests of our own library only: sets the folder of the store, instead of /run/cellslot/skvs.
// The previous store is closed and an unfinished batch is dropped, so setting the same path again
// lets a test see the store as another process would.
void setKeyValueStorePath(const std::string& folder);

#endif
