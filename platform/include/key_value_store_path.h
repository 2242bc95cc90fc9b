#ifndef PLATFORM_INCLUDE_KEY_VALUE_STORE_PATH_H
#define PLATFORM_INCLUDE_KEY_VALUE_STORE_PATH_H

#include <string>

// For tests only: the folder of the host implementation's store, instead of /run/cellslot/skvs.
// The store that was in use before is closed and a batch that was begun is dropped, so the same
// path again lets a test look at the store as another process would.
void setKeyValueStorePath(const std::string& folder);

#endif
