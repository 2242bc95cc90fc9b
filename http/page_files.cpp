#include "http/page_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <iterator>

#include "platform/include/text_helpers.h"

namespace {

// clang-format off
constexpr sPageFile SHARED[] = {
    {"/",            "index.html",  PAGE_HTML},
    {"/index.html",  "index.html",  PAGE_HTML},
    {"/page.css",    "page.css",    PAGE_CSS},
    {"/dom.js",      "dom.js",      PAGE_SCRIPT},
    {"/frame.js",    "frame.js",    PAGE_SCRIPT},
    {"/live.js",     "live.js",     PAGE_SCRIPT},
    {"/overview.js", "overview.js", PAGE_SCRIPT},
    {"/signal.js",   "signal.js",   PAGE_SCRIPT},
    {"/tone.js",     "tone.js",     PAGE_SCRIPT},
    {"/icon.svg",    "icon.svg",    PAGE_SVG},
};
// clang-format on

}  // namespace

tPageFiles withSharedFiles(tPageFiles own) {
    own.insert(own.end(), std::begin(SHARED), std::end(SHARED));
    return own;
}

const sPageFile* findPageFile(const tPageFiles& files, const std::string& path) {
    for (const sPageFile& file : files)
        if (path == file.path) return &file;
    return nullptr;
}

int openPageFile(const std::string& folder, const sPageFile& file, size_t& size, std::string& tag) {
    const int opened = open((folder + "/" + file.name + ".gz").c_str(), O_RDONLY | O_CLOEXEC);
    if (opened < 0) return -1;
    struct stat info {};
    if (fstat(opened, &info) != 0 || !S_ISREG(info.st_mode)) {
        close(opened);
        return -1;
    }
    size = static_cast<size_t>(info.st_size);
    tag = "\"" + ltos(info.st_size) + "-" + ltos(info.st_mtim.tv_sec) + "-" +
          ltos(info.st_mtim.tv_nsec) + "\"";
    return opened;
}

bool acceptsGzip(const std::string& header) {
    for (size_t start = 0; start < header.size();) {
        const size_t end = std::min(header.find(',', start), header.size());
        const std::string coding = cleanWhiteSpace(stringLower(header.substr(start, end - start)));
        start = end + 1;
        const std::string name = coding.substr(0, coding.find(';'));
        const bool isRefused = startsWith(findNeedleString(coding, ";q=", ","), "0") &&
                               coding.find_first_of("123456789") == std::string::npos;
        if ((name == "gzip" || name == "*") && !isRefused) return true;
    }
    return false;
}
