#ifndef INCLUDE_TEMPORARY_FILES_H
#define INCLUDE_TEMPORARY_FILES_H

#include <string>

// A file that is replaced whole is first written under a temporary name. A kill in between leaves
// that name behind, and on a disk it stays for good.

// Removes what earlier processes left of such files in a folder: regular files with exactly the
// form of our temporary names, older than a minute. A younger one is being written just now, by the
// daemon of another slot or by an operator's command.
void removeLeftTemporaryFiles(const std::string& folder);

#endif
