#ifndef SMS_ASSEMBLY_H
#define SMS_ASSEMBLY_H

#include <string>
#include <vector>

#include "sms/message_file.h"

// Joins the part files of /recv_parts/ whose messages are complete: each message is appended to the
// queue as one of one part, its files are deleted. Files that are no part of anything are deleted
// too; a whole part whose sender has no digits, which can belong to no group, is appended as a
// message of its own first.
void checkSmsParts(tSmsQueue& queue, const std::string& root);

// Networks deliver a part twice: of part files with the same sender as written, reference, number
// and total the newest stays. Those in written, in their order, are newer than all others.
void removeRepeatedParts(const std::string& root, const std::vector<std::string>& written);

void resetAssemblyState();

#endif
