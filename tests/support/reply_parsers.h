#ifndef TESTS_SUPPORT_REPLY_PARSERS_H
#define TESTS_SUPPORT_REPLY_PARSERS_H

#include <string>
#include <vector>

// Every parse function of modem text, each on a fresh record.
struct sReplyParser {
    const char* name;
    const char* reply;  // a valid one, without the final result code
    // Says what is wrong with the record after the reply; null if nothing is.
    const char* (*parse)(const std::string& response);
};

// Add new parsers at the end: the fuzzer's inputs choose theirs by its position.
const std::vector<sReplyParser>& replyParsers();

#endif
