#include "sms/listing_marker.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "sms/spool.h"

namespace {

std::string markerPath(const std::string& root) {
    return ownSpoolFile(root, "listing");
}

}  // namespace

bool openListing(const std::string& root, bool& leftOver) {
    const int fd = open(markerPath(root).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    leftOver = fd == -1 && errno == EEXIST;
    if (fd != -1) close(fd);
    return fd != -1 || leftOver;
}

void closeListing(const std::string& root) {
    unlink(markerPath(root).c_str());
}

bool isListingOpen(const std::string& root) {
    sFileIdentity identity;
    return identifyFile(markerPath(root), identity);
}
