#ifndef HTTP_CREDENTIAL_H
#define HTTP_CREDENTIAL_H

#include "http/server.h"

// Certificate, key and password for other hosts, as the service manager hands them over from root's
// files (CREDENTIALS_DIRECTORY); empty where a file is missing.
void readCredentials(sServerSetup& setup);

#endif
