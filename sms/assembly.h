#ifndef SMS_ASSEMBLY_H
#define SMS_ASSEMBLY_H

#include <string>
#include <vector>

#include "sms/message_file.h"

// Joins the part files of /recv_parts/ whose messages are complete: each message is appended to the
// queue as one of one part, its files are deleted. Senders count their messages to 255 and begin
// again: where parts of several messages have one reference, they are told apart by their times.
// Files that are no part of anything are deleted too; whole parts whose sender has no digits, which
// can belong to no group, are appended as messages of their own first, in the order of their
// numbers.
void checkSmsParts(tSmsQueue& queue, const std::string& root);

#endif
