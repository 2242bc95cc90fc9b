#ifndef SMS_REPEATED_PARTS_H
#define SMS_REPEATED_PARTS_H

#include <string>
#include <vector>

// Networks sometimes deliver a part twice. Of the part files with the same sender as written,
// reference, number, total, time and text, only the newest is kept. Looks only at messages of which
// a part is in written: these files, in their order, are newer than all others.
void removeRepeatedParts(const std::string& root, const std::vector<std::string>& written);

#endif
