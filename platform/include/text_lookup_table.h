#ifndef PLATFORM_INCLUDE_TEXT_LOOKUP_TABLE_H
#define PLATFORM_INCLUDE_TEXT_LOOKUP_TABLE_H

#include <map>
#include <string>

#include "platform/include/tokenstr.h"

// The key=value lines of a text file. A line is split at its first separator; the key is trimmed,
// the value kept byte for byte. The line end is LF or CR LF. A line whose first non-blank character
// is '#' is a comment; a line without separator is ignored; the first of several lines with the
// same key counts. A byte order mark at the start of the file is skipped. At most 131072 bytes are
// read; a file that cannot be read gives an empty table.
class cTextLookupTable {
  public:
    // flags: for the gateway's library, ignored here.
    cTextLookupTable(const std::string& path, char separator, int flags = 0);

    // Keys are case-sensitive.
    bool DoesEntryExist(const std::string& key) const;
    // Token 0 is the key, token 1 the value; no tokens if the key is missing.
    tokenstr GetEntryByLabel(const std::string& key) const;

    // Every key of the file with its value.
    const std::map<std::string, std::string>& entries() const { return m_entries; }

  private:
    std::map<std::string, std::string> m_entries;
};

#endif
