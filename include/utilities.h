#ifndef INCLUDE_UTILITIES_H
#define INCLUDE_UTILITIES_H

#include <string>
#include <vector>

// Creates the missing folders of a path with mode 0700, except its first component. 0 if all exist
// afterwards, else -1; a file in place of a folder is a failure.
int _mkdir(const std::string& path);

// The names in a folder, without "." and "..", in the order of the system. 0, or errno.
int readFilesInDir(const std::string& directory, std::vector<std::string>& names);

// Whether a text is hexadecimal digits only, after one leading "0x".
bool stringIsHex(const std::string& text);

// "1D 2H 3M 4S"; "N/A" for 0 and below.
std::string formatConnectTime(const int& seconds);

// MD5 (RFC 1321) as 32 lower-case hexadecimal digits.
std::string getMd5(const std::string& text);

// Whether a text can name a network interface. The name is used in paths and in shell commands,
// where a leading dash would make it an option.
bool isInterfaceName(const std::string& name);

// ASCII control characters: those below the blank, and DEL.
bool isControlCharacter(char c);

// Replaces each control character by a blank, so that a text from outside cannot forge a line.
std::string blankControlCharacters(std::string text);

#endif
