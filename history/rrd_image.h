#ifndef HISTORY_RRD_IMAGE_H
#define HISTORY_RRD_IMAGE_H

#include <ctime>
#include <string>
#include <vector>

#include "history/layout.h"

// An RRD file in memory: librrd changes and reads the copy, and what becomes of the file is
// somebody else's decision. Every function but create fails on an image that is not open.
class cRrdImage {
  public:
    cRrdImage() = default;
    ~cRrdImage();
    cRrdImage(const cRrdImage&) = delete;
    cRrdImage& operator=(const cRrdImage&) = delete;

    // Copies the file, which must be of this layout. False: errorText says why.
    bool load(const std::string& path, const sStore& store);

    // The values at this time are those of the step that ends with it; NaN: not known. In the order
    // of time, and later than what is in the file.
    struct sUpdate {
        time_t end;
        std::vector<double> values;
    };
    bool update(const std::vector<sUpdate>& updates);

    // Time of the last update; 0 if it cannot be read.
    time_t last() const;

    // The rows that end after from and not after to, of all sources: rows[i] is the step that ends
    // at first + i * stepS.
    struct sRows {
        time_t first = 0;
        unsigned stepS = 1;
        size_t columns = 0;
        std::vector<double> values;
        size_t count() const { return columns == 0 ? 0 : values.size() / columns; }
        double at(size_t row, size_t column) const { return values[row * columns + column]; }
    };
    sRows rows(const sArchive& archive, time_t from, time_t to) const;

    int descriptor() const { return m_file; }
    const std::string& errorText() const { return m_error; }
    // The last load failed because of what the file is, not because it could not be read now.
    bool isDamaged() const { return m_isDamaged; }

    // A new file at path; a file with that name is replaced. Nothing is known before begin.
    // source: an older file whose rows are taken over as far as they end before begin; may be
    // empty.
    static bool create(const std::string& path, const sStore& store, time_t begin,
                       const std::string& source, std::string& error);

  private:
    std::string path() const;

    int m_file = -1;
    std::string m_error;
    bool m_isDamaged = false;
};

#endif
