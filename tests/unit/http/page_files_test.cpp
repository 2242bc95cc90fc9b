#include "http/page_files.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/temp_folder.h"

namespace {

const tPageFiles FILES = {{"/", "index.html", PAGE_HTML}, {"/page.js", "page.js", PAGE_SCRIPT}};

}  // namespace

TEST(PageFiles, OnlyFilesOfTheTable_AreFound) {
    EXPECT_STREQ(findPageFile(FILES, "/")->name, "index.html");
    EXPECT_STREQ(findPageFile(FILES, "/page.js")->type, "text/javascript; charset=utf-8");
    for (const char* path :
         {"", "page.js", "/page.js.gz", "/../page.js", "/page.js/", "/PAGE.JS", "//"})
        EXPECT_EQ(findPageFile(FILES, path), nullptr) << path;
}

TEST(PageFiles, ReplacedFile_HasAnotherTag) {
    const cTempFolder folder;
    size_t size = 0;
    std::string tag;
    const sPageFile& file = *findPageFile(FILES, "/page.js");
    EXPECT_EQ(openPageFile(folder.path(), file, size, tag), -1);
    writeFile(folder / "page.js.gz", "one");
    close(openPageFile(folder.path(), file, size, tag));
    EXPECT_EQ(size, 3u);
    const std::string first = tag;
    writeFile(folder / "page.js.gz", "four");
    close(openPageFile(folder.path(), file, size, tag));
    EXPECT_NE(tag, first);
}

TEST(PageFiles, Gzip_IsAcceptedUnlessRefused) {
    for (const char* header :
         {"gzip", "gzip, deflate, br, zstd", "br;q=1.0, GZIP;q=0.8, *;q=0.1", "*"})
        EXPECT_TRUE(acceptsGzip(header)) << header;
    for (const char* header :
         {"", "identity", "br", "gzip;q=0", "gzip; q=0.000", "x-gzipped", "*;q=0"})
        EXPECT_FALSE(acceptsGzip(header)) << header;
}
