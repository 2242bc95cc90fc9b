#ifndef PLATFORM_INCLUDE_KEY_VALUE_STORE_H
#define PLATFORM_INCLUDE_KEY_VALUE_STORE_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// The host's key-value store: it outlives the daemon, not the host. Several processes may read and
// write it at once.

// Puts the value into buffer, cut to size - 1 bytes and always terminated. Returns the length of
// the stored value, -1 with an empty text when the key is missing or the store cannot be read.
int skvs_get(const char* key, char* buffer, size_t size);

// Returns 0, or another value when the key could not be stored; a store that cannot be written is
// told once in the system log. A value that is stored already is not written again. A key is 1 to
// 500 bytes long, a value at most 4096.
int skvs_set(const char* key, const char* value);

// Between begin and end the sets of this process are gathered and written together at the end;
// nobody reads them before. Batches do not nest. skvs_batch_end returns 0, or another value when
// not all of them could be stored; those that could are. A platform without batches may define both
// as doing nothing.
void skvs_batch_begin();
int skvs_batch_end();

// Every key that starts with prefix, with its value, in the order of the keys. Returns false when
// the store cannot be read (errno tells the cause where the system gave one); a store that was
// never written is empty.
bool skvs_list(const std::string& prefix, std::vector<std::pair<std::string, std::string>>& out);

#endif
