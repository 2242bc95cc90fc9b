#ifndef SMS_ASSEMBLY_H
#define SMS_ASSEMBLY_H

#include <string>
#include <vector>

#include "sms/message_file.h"

// Joins the part files of /recv_parts/ whose messages are complete: each message is appended to the
// queue as one of one part, and its files are deleted. Senders count their messages to 255 and
// start again, so parts of several messages may have the same reference; their times separate them.
// Files that are not parts are deleted too. A part whose sender has no digits cannot belong to a
// group: it is first appended as a message of its own, in the order of the numbers.
void checkSmsParts(tSmsQueue& queue, const std::string& root);

#endif
