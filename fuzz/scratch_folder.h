#ifndef FUZZ_SCRATCH_FOLDER_H
#define FUZZ_SCRATCH_FOLDER_H

#include <string>

// A folder of this process below TMPDIR, removed when the process ends.
const std::string& scratchFolder();

// Removes the content of a folder, not the folder.
void emptyFolder(const std::string& folder);

void writeScratchFile(const std::string& path, const std::string& content);

#endif
