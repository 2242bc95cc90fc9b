#ifndef PLATFORM_FILES_MAKE_FOLDER_H
#define PLATFORM_FILES_MAKE_FOLDER_H

#include <sys/types.h>

#include <string>

// Makes a folder and its missing parents, each with exactly this mode. Returns false, with errno
// set, if the folder does not exist afterwards.
bool makeFolder(const std::string& path, mode_t mode);

// The same for the folder of a file.
bool makeFolderOf(const std::string& filePath, mode_t mode);

#endif
