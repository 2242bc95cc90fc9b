#ifndef STATEMACHINE_CUSTOM_AT_H
#define STATEMACHINE_CUSTOM_AT_H

#include <string>

#include "include/device_records.h"
#include "include/result_codes.h"

// AT commands of other programs: a request file in a shared folder, answered by two files beside it
// and recorded in a log that stays. Every instance of the daemon looks for the same file, and the
// first one takes it; published/at_request.h has the names and what a request holds. In the
// functions below suffix is what follows the names, ".2" or nothing.

// Where requests and answers are exchanged.
extern const std::string g_s_at_cmd_custom_path;

// Carries out the request, when there is one. eSUCCESS without a request;
// eERROR_BUFFER_EMPTY for one that holds less than three characters;
// eERROR_DEVICE_RESPONSE_TIMEOUT when a command was not answered, which ends the request. What the
// modem answers, errors included, is no failure.
eGeneralErrors checkCustomAtFile(int port, sDeviceInfo& device, const std::string& directory,
                                 const std::string& suffix = "");

// Whether something that can be taken away has the request's name: a folder there is none.
bool atCommandFilesExist(const std::string& directory, const std::string& suffix = "");

// Reads the request and deletes it. Returns the number of bytes. What is no regular file, or could
// not be deleted and would come back at every poll, is not read: 0.
size_t readAtCommandFile(std::string& text, const std::string& directory,
                         const std::string& suffix = "");

// "AT+CSQ::5": a command, and how many seconds more than one its answer may take, 0 to 30.
void parseAtCmdCustomLine(const std::string& line, std::string& command, int& extraTimeoutS);

// Whether it starts with "AT", in any case.
bool validateAtCmdFormat(const std::string& command);

// Sends a request's commands and writes the answer files. As checkCustomAtFile.
eGeneralErrors sendAtCommandBuff(int port, const std::string& request, const sDeviceInfo& device,
                                 const std::string& directory, const std::string& suffix = "");

#endif
