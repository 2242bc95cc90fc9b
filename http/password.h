#ifndef HTTP_PASSWORD_H
#define HTTP_PASSWORD_H

#include <string>

#include "http/job.h"

// The password that a browser in the LAN needs. Only its hash is stored: scrypt with N=8192, r=8,
// p=10, which takes 8 MB and about half a second for each attempt.

constexpr size_t PASSWORD_LENGTH_MIN = 10;
constexpr size_t PASSWORD_LENGTH_MAX = 32;

// A line for the file, with fresh salt. Throws cFailure if the system cannot make one.
std::string passwordHash(const std::string& password);

// A process of its own checks it: exit status 0 if it is right, else 1.
sWork startPasswordCheck(const std::string& password, const std::string& hash);

// False if the hash is damaged too.
bool isPassword(const std::string& password, const std::string& hash);

// Whether the text of the file is a hash as passwordHash makes it.
bool isPasswordHash(const std::string& hash);

#endif
