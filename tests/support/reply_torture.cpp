#include "tests/support/reply_torture.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/record_bounds.h"

namespace {

constexpr size_t MEGABYTE = 1024 * 1024;
const std::string UNSOLICITED = "\r\n+CREG: 1\r\n";
const std::string GARBAGE = "\xff\x80\r#$%?,,,\"\":\t\n";

using tParse = std::function<void(const std::string&)>;

void cutEverywhere(const std::string& reply, const tParse& parse) {
    for (size_t length = 0; length <= reply.size(); ++length) {
        parse(reply.substr(0, length));
        parse(reply.substr(length));
    }
}

void insertEverywhere(const std::string& reply, const std::string& piece, const tParse& parse) {
    for (size_t at = 0; at <= reply.size(); ++at)
        parse(std::string(reply).insert(at, piece));
}

void replaceEverywhere(const std::string& reply, char byte, const tParse& parse) {
    for (size_t at = 0; at < reply.size(); ++at) {
        std::string changed = reply;
        changed[at] = byte;
        parse(changed);
    }
}

std::string repeated(const std::string& text, size_t size) {
    std::string result;
    while (!text.empty() && result.size() < size)
        result += text;
    return result;
}

// A megabyte of digits at the start of each field, of other characters in the first and last field,
// and the reply itself repeated.
void makeOverLong(const std::string& reply, const tParse& parse) {
    const std::string separators = ",: ";
    for (size_t at = reply.find_first_of(separators); at != std::string::npos;
         at = reply.find_first_of(separators, at + 1))
        parse(std::string(reply).insert(at + 1, repeated("9", MEGABYTE)));
    for (const char* filler : {"A", "9", ",", "\"", ".", " ", "1 "}) {
        const std::string megabyte = repeated(filler, MEGABYTE);
        for (const size_t at : {reply.find_first_of(separators), reply.find_last_of(separators)})
            if (at != std::string::npos) parse(std::string(reply).insert(at + 1, megabyte));
        parse(megabyte);
        parse(megabyte + reply);
    }
    parse(repeated(reply, MEGABYTE));
    parse(repeated("\r\n", MEGABYTE) + reply);
}

}  // namespace

void tortureReply(const std::string& reply, const std::function<void(const std::string&)>& parse) {
    cutEverywhere(reply, parse);
    parse(GARBAGE + reply);
    insertEverywhere(reply, UNSOLICITED, parse);
    for (const char byte : {'\0', '\xff', '\x80', '\r', '\n', ',', '"', ' ', '-', '9'}) {
        insertEverywhere(reply, std::string(1, byte), parse);
        replaceEverywhere(reply, byte, parse);
    }
    makeOverLong(reply, parse);
}

void expectBounded(const std::string& text) {
    EXPECT_STREQ(wrongInText(text), nullptr);
}

void expectBounded(const sModemInfo& modem) {
    EXPECT_STREQ(wrongInRecord(modem), nullptr);
}

void expectBounded(const sNetworkInfo& network) {
    EXPECT_STREQ(wrongInRecord(network), nullptr);
}

void expectBounded(const sSimInfo& sim) {
    EXPECT_STREQ(wrongInRecord(sim), nullptr);
}

void expectBounded(const sDeviceInfo& device) {
    EXPECT_STREQ(wrongInRecord(device), nullptr);
}
