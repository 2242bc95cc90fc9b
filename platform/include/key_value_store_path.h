#ifndef PLATFORM_INCLUDE_KEY_VALUE_STORE_PATH_H
#define PLATFORM_INCLUDE_KEY_VALUE_STORE_PATH_H

#include <string>

// For tests only: sets the folder of the store, instead of /run/cellslot/skvs. The previous store
// is closed and an unfinished batch is dropped, so setting the same path again lets a test see the
// store as another process would.
void setKeyValueStorePath(const std::string& folder);

#endif
