#ifndef PLATFORM_STORE_STORE_VALUE_H
#define PLATFORM_STORE_STORE_VALUE_H

#include <lmdb.h>

#include <string>

// Conversion between texts and LMDB values. The value of toValue points into the given text.
inline MDB_val toValue(const std::string& text) {
    return {text.size(), const_cast<char*>(text.data())};
}
inline std::string toText(const MDB_val& value) {
    return {static_cast<const char*>(value.mv_data), value.mv_size};
}

#endif
