#include "recording/known_pieces.h"

#include <cstring>

namespace {

// Two places for each hash.
constexpr size_t PLACES = 256;
constexpr unsigned HASH_SHIFT = 64 - 7;

uint64_t wordAt(const char* bytes) {
    uint64_t word = 0;
    memcpy(&word, bytes, sizeof word);
    return word;
}

// Beginning, middle and end: what differs between the pieces of an exchange.
size_t placeOf(const char* bytes, size_t size) {
    uint64_t hash = size;
    if (size >= sizeof hash) {
        hash ^= wordAt(bytes) ^ wordAt(bytes + (size - sizeof hash) / 2) << 7 ^
                wordAt(bytes + size - sizeof hash) << 13;
    } else {
        uint64_t word = 0;
        memcpy(&word, bytes, size);
        hash ^= word << 3;
    }
    return static_cast<size_t>((hash * 0x9E3779B97F4A7C15) >> HASH_SHIFT) * 2;
}

bool isSame(const sKnownPiece& piece, const char* bytes, size_t size, unsigned before) {
    return piece.bytes.size() == size && piece.before == before &&
           memcmp(piece.bytes.data(), bytes, size) == 0;
}

}  // namespace

// A poll has the same order each time.
const sKnownPiece* cKnownPieces::find(const char* bytes, size_t size, unsigned before) {
    if (m_last != nullptr && m_last->next != nullptr &&
        isSame(*m_last->next, bytes, size, before)) {
        m_last = m_last->next;
        return m_last;
    }
    sKnownPiece* const piece = search(bytes, size, before);
    if (piece != nullptr && m_last != nullptr) m_last->next = piece;
    m_last = piece;
    return piece;
}

sKnownPiece* cKnownPieces::search(const char* bytes, size_t size, unsigned before) {
    if (m_pieces.empty() || size == 0 || size > PIECE_MAX) return nullptr;
    sKnownPiece* const piece = &m_pieces[placeOf(bytes, size)];
    if (isSame(piece[0], bytes, size, before)) return &piece[0];
    return isSame(piece[1], bytes, size, before) ? &piece[1] : nullptr;
}

void cKnownPieces::keep(const std::string& bytes, const std::string& line, unsigned before,
                        unsigned after) {
    if (bytes.empty() || bytes.size() > PIECE_MAX) return;
    if (m_pieces.empty()) m_pieces.resize(PLACES);
    m_takesFirst = !m_takesFirst;
    m_pieces[placeOf(bytes.data(), bytes.size()) + (m_takesFirst ? 0 : 1)] = {bytes, line, before,
                                                                              after, nullptr};
}
