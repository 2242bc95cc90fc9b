#ifndef INCLUDE_TEMPORARY_FILES_H
#define INCLUDE_TEMPORARY_FILES_H

#include <string>

// A file that is replaced whole is first written under a temporary name. If the process is killed
// meanwhile, the temporary file remains.

// Removes such files of earlier processes from a folder: regular files, older than a minute, whose
// names have exactly the form of our temporary names. A younger one may be in use by the daemon of
// another slot or by an operator's command.
void removeLeftTemporaryFiles(const std::string& folder);

#endif
