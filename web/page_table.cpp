#include "web/page_table.h"

const tPageFiles& gatewayPageFiles() {
    // clang-format off
    static const tPageFiles FILES = {
        {"/",            "index.html",  PAGE_HTML},
        {"/index.html",  "index.html",  PAGE_HTML},
        {"/page.css",    "page.css",    PAGE_CSS},
        {"/uplot.css",   "uplot.css",   PAGE_CSS},
        {"/page.js",     "page.js",     PAGE_SCRIPT},
        {"/dom.js",      "dom.js",      PAGE_SCRIPT},
        {"/frame.js",    "frame.js",    PAGE_SCRIPT},
        {"/live.js",     "live.js",     PAGE_SCRIPT},
        {"/overview.js", "overview.js", PAGE_SCRIPT},
        {"/signal.js",   "signal.js",   PAGE_SCRIPT},
        {"/tone.js",     "tone.js",     PAGE_SCRIPT},
        {"/history.js",  "history.js",  PAGE_SCRIPT},
        {"/events.js",   "events.js",   PAGE_SCRIPT},
        {"/messages.js", "messages.js", PAGE_SCRIPT},
        {"/uplot.js",    "uplot.js",    PAGE_SCRIPT},
        {"/icon.svg",    "icon.svg",    PAGE_SVG},
    };
    // clang-format on
    return FILES;
}
