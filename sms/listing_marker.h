#ifndef SMS_LISTING_MARKER_H
#define SMS_LISTING_MARKER_H

#include <string>

// A modem marks a message as read when it lists it. From then until the message is in a file it is
// in nobody's hands: a listing that was cut off, or a daemon that was killed, would leave it to be
// deleted unseen. A marker file stands in the spool's root for that time. While it stands nothing
// is deleted on the modem, and whoever finds it lists the read messages too. Should somebody remove
// it, this process still knows.

// Puts the marker down; leftOver: it stood there already. False when the root cannot be written.
bool openListing(const std::string& root, bool& leftOver);
void closeListing(const std::string& root);
bool isListingOpen(const std::string& root);

#endif
