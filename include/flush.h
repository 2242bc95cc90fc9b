#ifndef INCLUDE_FLUSH_H
#define INCLUDE_FLUSH_H

#include <string>

// What was written, replaced or removed reaches the disk at some time later, and a power cut undoes
// it until then. These return when the disk has it. False: it may not, errno says why.

// The file, and its name in its folder.
bool flushFileAndFolder(const std::string& path);
// The names in the folder of the file; after it was removed.
bool flushFolderOf(const std::string& path);

#endif
