#ifndef WEB_PAGE_TABLE_H
#define WEB_PAGE_TABLE_H

#include "http/page_files.h"

constexpr const char* PAGE_FOLDER = "/usr/share/cellslot-web";

// The files of a gateway's page.
const tPageFiles& gatewayPageFiles();

#endif
