#ifndef SMS_LISTING_MARKER_H
#define SMS_LISTING_MARKER_H

#include <string>

// A modem marks a message as read when it lists it. If the listing is cut off or the daemon is
// killed before the message is in a file, the next deletion of the read messages would lose it. So
// a marker file is in the spool's root during that time. While it exists, nothing is deleted on the
// modem, and the next check lists the read messages too. The process also remembers the marker, in
// case somebody removes the file.

// Creates the marker. leftOver: there was one already. False when the root cannot be written.
bool openListing(const std::string& root, bool& leftOver);
void closeListing(const std::string& root);
bool isListingOpen(const std::string& root);

// A power cut takes the marker with it: the spool is usually in memory, or emptied at the start of
// the host. So a note on the disk says in which start of the host messages are listed, from the
// first listing until the daemon ends in an orderly way.

// At the daemon's start: a note of an earlier start of the host counts as a marker.
void findListingCutOff();
// At its end. An open listing keeps the note.
void endListings(const std::string& root);

#endif
