#ifndef PUBLISHED_SMS_SPOOL_H
#define PUBLISHED_SMS_SPOOL_H

#include <cstddef>
#include <string>

// The message spool, which all slots share: a root with six folders. A folder's path is the root
// and its name.
constexpr const char* SMS_SPOOL_ROOT = "/tmp/sms";

constexpr const char* SMS_DIR_RECV = "/recv/";              // complete received messages
constexpr const char* SMS_DIR_RECV_PARTS = "/recv_parts/";  // wait for the rest of their message
constexpr const char* SMS_DIR_RECV_POST = "/recv_post/";    // for other programs
constexpr const char* SMS_DIR_SEND = "/send/";              // to be sent
constexpr const char* SMS_DIR_SEND_FAIL = "/send_fail/";    // given up
constexpr const char* SMS_DIR_SEND_OK = "/send_ok/";        // sent

// A folder's path without a slash at its end, because with one the system would follow a link.
std::string smsFolder(const std::string& root, const char* dir);

// Longest message file, received or to be sent.
constexpr size_t SMS_FILE_MAX = 131072;
// Longest name of a message file (NAME_MAX).
constexpr size_t SMS_NAME_MAX = 255;

// A processed file keeps its name in its new folder, with the time after it.
std::string filedSmsName(const std::string& name, const std::string& time);
bool isFiledSmsName(const std::string& filed, const std::string& name);

// Message files are lines of "FIELD=value"; the text is last and extends to the end of the file:
//   TO=+12025550123              FROM=+12025550123            FROM=+12025550123
//   MSG=any text                 TIME=2020-06-15 20:32:05     TIME=2020-06-15 20:32:05
//                                MSG=any text                 TIMEUF=1592253125
//                                                             MSG_ID=7
//                                                             MSG_PART_NUMBER=1
//                                                             MSG_PART_TOTAL=3
//                                                             MSG=any text
// a message to send, a received message, and a part of a received message.
constexpr const char* SMS_FIELD_TO = "TO";
constexpr const char* SMS_FIELD_FROM = "FROM";
constexpr const char* SMS_FIELD_TIME = "TIME";
constexpr const char* SMS_FIELD_TIME_UNFORMATTED = "TIMEUF";  // seconds since the epoch
constexpr const char* SMS_FIELD_ID = "MSG_ID";
constexpr const char* SMS_FIELD_PART_NUMBER = "MSG_PART_NUMBER";
constexpr const char* SMS_FIELD_PART_TOTAL = "MSG_PART_TOTAL";
constexpr const char* SMS_FIELD_TEXT = "MSG";

// "FIELD=": how the line of a field begins.
std::string smsFieldStart(const std::string& field);

// Number of digits in the number of a message to send, with or without a "+" before them.
constexpr size_t SMS_NUMBER_DIGITS_MIN = 5;
constexpr size_t SMS_NUMBER_DIGITS_MAX = 50;

std::string sendFileText(const std::string& number, const std::string& text);

// A received message as in its file.
struct sReceivedText {
    std::string from;
    std::string time;
    std::string text;
};

// Missing fields are empty.
sReceivedText parseReceivedText(const std::string& content);

#endif
