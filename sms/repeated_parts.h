#ifndef SMS_REPEATED_PARTS_H
#define SMS_REPEATED_PARTS_H

#include <string>
#include <vector>

// Networks deliver a part twice: of part files with the same sender as written, reference, number,
// total, time and text the newest stays. Only messages are looked at of which a part was just
// written; those in written, in their order, are newer than all others.
void removeRepeatedParts(const std::string& root, const std::vector<std::string>& written);

#endif
