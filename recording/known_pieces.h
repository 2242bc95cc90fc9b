#ifndef RECORDING_KNOWN_PIECES_H
#define RECORDING_KNOWN_PIECES_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The lines of a recording that were made of pieces before: a daemon that polls sends and receives
// the same bytes again and again, and to compare them is much cheaper than to apply the rules anew.
struct sKnownPiece {
    std::string bytes;  // as they were on the port
    std::string line;   // from the comma after the time on
    // Beside the bytes, what the rules depend on, and what they changed.
    unsigned before = 0;
    unsigned after = 0;
};

class cKnownPieces {
  public:
    static constexpr size_t PIECE_MAX = 256;

    // Null if the piece is not known, or is known for another state before it.
    const sKnownPiece* find(const char* bytes, size_t size, unsigned before) const;
    // Takes the place of one that has the same hash.
    void keep(const std::string& bytes, const std::string& line, unsigned before, unsigned after);
    void forgetAll() { m_pieces.clear(); }

  private:
    std::vector<sKnownPiece> m_pieces;
    bool m_takesFirst = false;
};

#endif
