#ifndef STATEMACHINE_CUSTOM_AT_H
#define STATEMACHINE_CUSTOM_AT_H

#include <string>

#include "include/result_codes.h"

struct sDeviceInfo;

// AT commands of other programs. A program writes a request file to a shared folder; two files
// beside it hold the answer, and a permanent log records it. Every instance of the daemon looks for
// the same file, and the first one takes it. published/at_request.h has the names and the format.
// In the functions below suffix is the end of the names: ".2" for a slot, or empty.

// Where requests and answers are exchanged.
extern const std::string g_s_at_cmd_custom_path;

// Carries out the request if there is one. eSUCCESS without a request; eERROR_BUFFER_EMPTY for a
// request of less than three characters; eERROR_DEVICE_RESPONSE_TIMEOUT when a command was not
// answered, which ends the request. An answer is a success even if it is an error code.
eGeneralErrors checkCustomAtFile(int port, sDeviceInfo& device, const std::string& directory,
                                 const std::string& suffix = "");

// Whether there is something of the request's name that can be deleted; a folder is not a request.
bool atCommandFilesExist(const std::string& directory, const std::string& suffix = "");

// Reads the request and deletes it. Returns the number of bytes. Returns 0 without reading if it is
// not a regular file, or could not be deleted and so would come back at every poll.
size_t readAtCommandFile(std::string& text, const std::string& directory,
                         const std::string& suffix = "");

// "AT+CSQ::5": a command, and how many extra seconds its answer may take, 0 to 30.
void parseAtCmdCustomLine(const std::string& line, std::string& command, int& extraTimeoutS);

// Whether it starts with "AT", in any case.
bool validateAtCmdFormat(const std::string& command);

// Sends a request's commands and writes the answer files. As checkCustomAtFile.
eGeneralErrors sendAtCommandBuff(int port, const std::string& request, const sDeviceInfo& device,
                                 const std::string& directory, const std::string& suffix = "");

#endif
