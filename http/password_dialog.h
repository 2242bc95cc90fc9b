#ifndef HTTP_PASSWORD_DIALOG_H
#define HTTP_PASSWORD_DIALOG_H

#include <string>

// Asks for the page's new password: twice on a terminal, once from a program. Throws cFailure.
std::string askPassword();

// Puts its hash into the file, for root alone. Throws cFailure if the password is too short or too
// long.
void storePassword(const std::string& file, const std::string& password);

#endif
