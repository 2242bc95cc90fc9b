#include "web/page_table.h"

const tPageFiles& gatewayPageFiles() {
    // clang-format off
    static const tPageFiles FILES = withSharedFiles({
        {"/uplot.css",   "uplot.css",   PAGE_CSS},
        {"/page.js",     "page.js",     PAGE_SCRIPT},
        {"/history.js",  "history.js",  PAGE_SCRIPT},
        {"/events.js",   "events.js",   PAGE_SCRIPT},
        {"/messages.js", "messages.js", PAGE_SCRIPT},
        {"/uplot.js",    "uplot.js",    PAGE_SCRIPT},
    });
    // clang-format on
    return FILES;
}
