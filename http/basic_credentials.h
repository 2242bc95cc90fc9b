#ifndef HTTP_BASIC_CREDENTIALS_H
#define HTTP_BASIC_CREDENTIALS_H

#include <string>

// The password in "Basic dXNlcjpwYXNzd29yZA==" (RFC 7617); the user name does not count. Empty if
// the header is something else.
std::string basicPassword(const std::string& authorization);

#endif
