#ifndef HISTORY_REDO_H
#define HISTORY_REDO_H

#include <cstdint>
#include <string>
#include <vector>

#include "cli/base/places.h"

// A commit changes several files, and the power may go at any moment. So what is to be written, and
// where, is written into one file first, with a checksum: the file "SLOT.redo" appears whole. Then
// the files are changed in place and the redo file is deleted. A redo file that is found later is
// done again, which gives the same result however much of it was done before. Blocks only overwrite
// what is there, so an RRD file stays readable all the time.
class cRedo {
  public:
    struct sStep {
        enum class eKind {
            BLOCK,  // these bytes at this place
            TAIL,   // these bytes at this place, and nothing after them
        };
        eKind kind = eKind::BLOCK;
        std::string name;  // of a file of the slot (history_paths.h)
        uint64_t offset = 0;
        std::string bytes;
    };

    void add(const sStep& step) { m_steps.push_back(step); }
    const std::vector<sStep>& steps() const { return m_steps; }
    // Bytes that the steps write.
    size_t size() const;

    std::string text() const;
    // False if the text is cut, damaged, or about files that are not the slot's.
    bool parse(const std::string& text, int slot);

  private:
    std::vector<sStep> m_steps;
};

constexpr size_t REDO_BYTES_MAX = 4 * 1024 * 1024;

// Writes the redo file, does its steps and deletes it; everything is on the disk when it returns.
// False: error says what failed. Unless the redo file is there by then, nothing was changed.
bool commitRedo(const sPlaces& places, int slot, const cRedo& redo, std::string& error);

// Completes a commit that was interrupted. False if that failed; true if there is none. A redo file
// that is not whole is removed: nothing of it was done.
bool recoverRedo(const sPlaces& places, int slot, std::string& error);

#endif
