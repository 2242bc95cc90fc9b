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
    sKnownPiece* next = nullptr;  // that came after it last time
};

class cKnownPieces {
  public:
    static constexpr size_t PIECE_MAX = 256;

    // Null if the piece is not known, or is known for another state before it.
    const sKnownPiece* find(const char* bytes, size_t size, unsigned before);
    // Takes the place of one that has the same hash.
    void keep(const std::string& bytes, const std::string& line, unsigned before, unsigned after);
    void forgetAll() {
        m_pieces.clear();
        m_last = nullptr;
    }

  private:
    sKnownPiece* search(const char* bytes, size_t size, unsigned before);

    std::vector<sKnownPiece> m_pieces;  // never grows: a piece keeps its place
    sKnownPiece* m_last = nullptr;
    bool m_takesFirst = false;
};

#endif
