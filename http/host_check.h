#ifndef HTTP_HOST_CHECK_H
#define HTTP_HOST_CHECK_H

#include <string>
#include <vector>

// Protection from DNS rebinding: a foreign page whose name is made to lead to this gateway asks
// with its own name in "Host", so only known names are answered. An address as such cannot be
// rebound.

// Letters, digits, '-' and '.', in lower case, as in a URL without port.
bool isHostName(const std::string& text);

// header: the value of "Host", with or without a port; an IPv6 address is in brackets.
// hosts: the operator's names, in lower case. "localhost" and addresses are always allowed.
bool isHostAllowed(const std::string& header, const std::vector<std::string>& hosts);

#endif
