#include "sms/listing_marker.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "include/options.h"
#include "platform/include/key_value_store.h"
#include "published/store_keys.h"
#include "sms/sms_memory.h"
#include "sms/spool.h"

namespace {

std::string listedKey() {
    return slotStoreKey(g_S_options.s_port, STORE_SMS_LISTED);
}

std::string markerPath(const std::string& root) {
    return ownSpoolFile(root, "listing");
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
    return true;
}

void closeListing(const std::string& root) {
    g_smsMemory.isListingOpen = false;
    if (isSpoolRoot(root)) unlink(markerPath(root).c_str());
    if (!g_smsMemory.isFirstListing) return;
    g_smsMemory.isFirstListing = false;
    skvs_set(listedKey().c_str(), "1");
}

bool isListingOpen(const std::string& root) {
    sFileIdentity identity;
    return g_smsMemory.isListingOpen || identifyFile(markerPath(root), identity);
}

void expectListingOfEarlierBoot() {
    char value[2];
    if (skvs_get(listedKey().c_str(), value, sizeof value) > 0) return;
    g_smsMemory.isListingOpen = true;
    g_smsMemory.isFirstListing = true;
}
