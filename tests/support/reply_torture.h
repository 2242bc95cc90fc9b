#ifndef TESTS_SUPPORT_REPLY_TORTURE_H
#define TESTS_SUPPORT_REPLY_TORTURE_H

#include <functional>
#include <string>

struct sDeviceInfo;
struct sModemInfo;
struct sNetworkInfo;
struct sSimInfo;

// Passes the worst input to a parse function, made from a valid reply: the reply cut at every byte,
// after garbage, with an unsolicited line before, in and after it, empty, a megabyte long in
// several ways, and with NUL and high bytes at every place. parse runs the function on a fresh
// record and checks the record with the functions below.
void tortureReply(const std::string& reply, const std::function<void(const std::string&)>& parse);

// No text of the record is longer than MODEM_TEXT_MAX, no count larger than its table.
void expectBounded(const std::string& text);
void expectBounded(const sModemInfo& modem);
void expectBounded(const sNetworkInfo& network);
void expectBounded(const sSimInfo& sim);
void expectBounded(const sDeviceInfo& device);

#endif
