#ifndef HTTP_PAGE_FILES_H
#define HTTP_PAGE_FILES_H

#include <string>
#include <vector>

// The files of the page, each compressed with gzip and named in a table: no other file of the
// folder can be asked for.

constexpr const char* PAGE_HTML = "text/html; charset=utf-8";
constexpr const char* PAGE_CSS = "text/css; charset=utf-8";
constexpr const char* PAGE_SCRIPT = "text/javascript; charset=utf-8";
constexpr const char* PAGE_SVG = "image/svg+xml";

struct sPageFile {
    const char* path;  // of the URL
    const char* name;  // in the folder, without ".gz"
    const char* type;
};
using tPageFiles = std::vector<sPageFile>;

// Those of one page, and the files that every page has.
tPageFiles withSharedFiles(tPageFiles own);

// nullptr if the path is not a file of the page.
const sPageFile* findPageFile(const tPageFiles& files, const std::string& path);

// Opens the compressed file; -1 with errno if that fails. size and tag (for "ETag") are set.
int openPageFile(const std::string& folder, const sPageFile& file, size_t& size, std::string& tag);

// Whether the header "Accept-Encoding" allows gzip.
bool acceptsGzip(const std::string& header);

#endif
