#ifndef TESTS_SUPPORT_REPLY_PARSERS_H
#define TESTS_SUPPORT_REPLY_PARSERS_H

#include <string>
#include <vector>

// Every parse function of modem text, each on a fresh record.
struct sReplyParser {
    const char* name;
    const char* reply;  // an honest one, without the final result code
    // Says what is wrong with what the reply left behind; null where nothing is.
    const char* (*parse)(const std::string& response);
};

// New parsers go to the end: the fuzzer's inputs choose theirs by its place.
const std::vector<sReplyParser>& replyParsers();

#endif
