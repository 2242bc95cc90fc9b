#include "sms/listing_marker.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "include/flush.h"
#include "include/options.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "published/host_boot.h"
#include "published/paths.h"
#include "sms/sms_memory.h"
#include "sms/spool.h"

namespace {

constexpr size_t NOTE_MAX = 64;

std::string markerPath(const std::string& root) {
    return ownSpoolFile(root, "listing");
}

// The start of the host in which the messages were listed; empty if there is no note.
std::string notedHost() {
    std::string text;
    readFile2StringNoFollow(listingNotePath(g_S_options.s_port), text, NOTE_MAX);
    return cleanWhiteSpace(text);
}

// Once in a run: a write to the disk with each check would wear it out.
void noteHost() {
    if (g_smsMemory.isHostNoted || access(STORAGE_FOLDER, W_OK) != 0) return;
    g_smsMemory.isHostNoted = true;
    const std::string host = hostBootId();
    if (host.empty() || notedHost() == host) return;
    const std::string path = listingNotePath(g_S_options.s_port);
    cFileVector file(path, 0600);
    file.AppendLine(host);
    if (file.Write()) flushFileAndFolder(path);
}

}  // namespace

bool openListing(const std::string& root, bool& leftOver) {
    leftOver = g_smsMemory.isListingOpen;
    if (!isSpoolRoot(root)) {
        errno = ENOTDIR;
        return false;
    }
    const int fd = open(markerPath(root).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    const bool found = fd == -1 && errno == EEXIST;
    if (fd != -1) close(fd);
    if (fd == -1 && !found) return false;
    leftOver = leftOver || found;
    g_smsMemory.isListingOpen = true;
    noteHost();
    return true;
}

void closeListing(const std::string& root) {
    g_smsMemory.isListingOpen = false;
    if (isSpoolRoot(root)) unlink(markerPath(root).c_str());
}

bool isListingOpen(const std::string& root) {
    sFileIdentity identity;
    return g_smsMemory.isListingOpen || identifyFile(markerPath(root), identity);
}

void findListingCutOff() {
    sFileIdentity identity;
    const bool isNoted = identifyFile(listingNotePath(g_S_options.s_port), identity);
    if (isNoted && notedHost() != hostBootId()) g_smsMemory.isListingOpen = true;
}

void endListings(const std::string& root) {
    if (!isListingOpen(root)) unlink(listingNotePath(g_S_options.s_port).c_str());
}
