#include "history/rrd_image.h"

#include <fcntl.h>
#include <rrd.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "platform/include/text_helpers.h"

namespace {

// A row is known if anything of it is known: the gaps show in the finer archives.
constexpr const char* UNKNOWN_PART_MAX = "0.99";

std::string takeError() {
    const std::string text = rrd_test_error() ? rrd_get_error() : "unknown error of librrd";
    rrd_clear_error();
    return text;
}

std::string valueText(double value) {
    if (std::isnan(value)) return "U";
    char text[32];
    snprintf(text, sizeof text, "%.17g", value);
    return text;
}

std::string updateText(const cRrdImage::sUpdate& update) {
    std::string text = ltos(update.end);
    for (const double value : update.values)
        text += ":" + valueText(value);
    return text;
}

std::vector<const char*> pointers(const std::vector<std::string>& texts) {
    std::vector<const char*> list;
    list.reserve(texts.size());
    for (const std::string& text : texts)
        list.push_back(text.c_str());
    return list;
}

std::string definition(const sSource& source, unsigned stepS) {
    // Updates come every ten seconds, and a gap is an update of its own, so the heartbeat decides
    // only how much of a step must be known.
    return std::string("DS:") + source.name + ":GAUGE:" + itos(static_cast<int>(2 * stepS)) + ":" +
           valueText(source.least) + ":" + valueText(source.greatest);
}

std::string definition(const sArchive& archive, unsigned stepS) {
    return std::string("RRA:") + consolidationName(archive.function) + ":" + UNKNOWN_PART_MAX +
           ":" + std::to_string(archive.stepS / stepS) + ":" + std::to_string(archive.rows);
}

// ---- the head of an RRD file, as librrd writes it (rrdtool(1): files of another architecture
// differ)

union uParameter {
    unsigned long count;
    double value;
};
constexpr size_t NAME_BYTES = 20;
using tParameters = uParameter[10];
constexpr char COOKIE[4] = "RRD";
constexpr double FLOAT_COOKIE = 8.642135E130;

struct sFileHead {
    char cookie[4];
    char version[5];
    double floatCookie;
    unsigned long sources;
    unsigned long archives;
    unsigned long stepS;
    tParameters parameters;
};

struct sSourceHead {
    char name[NAME_BYTES];
    char type[NAME_BYTES];
    tParameters parameters;
};

struct sArchiveHead {
    char function[NAME_BYTES];
    unsigned long rows;
    unsigned long steps;  // of the file, in one row
    tParameters parameters;
};

// After them: the last update, per source the step that is open, per source and archive the row
// that is, and per archive the place of the next row.
struct sLastUpdate {
    time_t time;
    long microseconds;
};

struct sOpenStep {
    char last[30];
    tParameters parameters;
};

template <typename tPart>
bool readPart(int file, off_t& at, tPart& part) {
    const bool isWhole = pread(file, &part, sizeof part, at) == static_cast<ssize_t>(sizeof part);
    at += static_cast<off_t>(sizeof part);
    return isWhole;
}

bool isName(const char (&name)[NAME_BYTES], const char* expected) {
    return strncmp(name, expected, NAME_BYTES) == 0;
}

bool isWhole(int file, const sStore& store) {
    const size_t sources = store.sources.size();
    const size_t archives = store.archives.size();
    size_t rows = 0;
    for (const sArchive& archive : store.archives)
        rows += archive.rows;
    const size_t size = sizeof(sFileHead) + sources * sizeof(sSourceHead) +
                        archives * sizeof(sArchiveHead) + sizeof(sLastUpdate) +
                        sources * (sizeof(sOpenStep) + archives * sizeof(tParameters)) +
                        archives * sizeof(unsigned long) + rows * sources * sizeof(double);
    struct stat info {};
    return fstat(file, &info) == 0 && static_cast<size_t>(info.st_size) == size;
}

// librrd trusts the head of the file that it opens: a wrong number in it ends the process. So all
// that says how the file is laid out is compared before librrd sees it.
bool isOf(int file, const sStore& store) {
    off_t at = 0;
    sFileHead head{};
    if (!isWhole(file, store) || !readPart(file, at, head) ||
        memcmp(head.cookie, COOKIE, sizeof head.cookie) != 0 || head.floatCookie != FLOAT_COOKIE ||
        head.version < std::string("0003") || head.version > std::string("0005") ||
        head.sources != store.sources.size() || head.archives != store.archives.size() ||
        head.stepS != store.stepS)
        return false;
    for (const eSource source : store.sources) {
        sSourceHead found{};
        if (!readPart(file, at, found) || !isName(found.name, describe(source).name) ||
            !isName(found.type, "GAUGE"))
            return false;
    }
    for (const sArchive& archive : store.archives) {
        sArchiveHead found{};
        if (!readPart(file, at, found) || found.rows != archive.rows ||
            found.steps != archive.stepS / store.stepS ||
            !isName(found.function, consolidationName(archive.function)))
            return false;
    }
    return true;
}

// ---- the copy

bool copyFile(int from, int to) {
    while (true) {
        const ssize_t count = sendfile(to, from, nullptr, 1 << 20);
        if (count == 0) return true;
        if (count < 0 && errno != EINTR) return false;
    }
}

}  // namespace

cRrdImage::~cRrdImage() {
    if (m_file >= 0) close(m_file);
}

std::string cRrdImage::path() const {
    return "/proc/self/fd/" + itos(m_file);
}

bool cRrdImage::load(const std::string& filePath, const sStore& store) {
    m_isDamaged = false;
    const int file = open(filePath.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) {
        m_isDamaged = errno == ELOOP;
        m_error = strerror(errno);
        return false;
    }
    struct stat info {};
    const bool isFile = fstat(file, &info) == 0 && S_ISREG(info.st_mode) &&
                        info.st_size <= static_cast<off_t>(STORES_BYTES_MAX);
    if (isFile && m_file < 0) m_file = memfd_create("cellslot-history", MFD_CLOEXEC);
    const bool isCopied = isFile && m_file >= 0 && ftruncate(m_file, 0) == 0 &&
                          lseek(m_file, 0, SEEK_SET) == 0 && copyFile(file, m_file);
    // A block of the flash that cannot be read any more stays so.
    const bool isUnreadable = !isCopied && errno == EIO;
    if (!isCopied) m_error = isFile ? strerror(errno) : "is no regular file of at most 2 MiB";
    close(file);
    m_isDamaged = !isFile || isUnreadable || (isCopied && !isOf(m_file, store));
    if (isCopied && m_isDamaged) m_error = "has another layout";
    return isCopied && !m_isDamaged;
}

bool cRrdImage::update(const std::vector<sUpdate>& updates) {
    if (updates.empty()) return true;
    std::vector<std::string> texts;
    texts.reserve(updates.size());
    for (const sUpdate& update : updates)
        texts.push_back(updateText(update));
    std::vector<const char*> arguments = pointers(texts);
    if (rrd_update_r(path().c_str(), nullptr, static_cast<int>(arguments.size()),
                     arguments.data()) == 0)
        return true;
    m_error = takeError();
    return false;
}

time_t cRrdImage::last() const {
    const time_t time = rrd_last_r(path().c_str());
    if (time == -1) rrd_clear_error();
    return time == -1 ? 0 : time;
}

cRrdImage::sRows cRrdImage::rows(const sArchive& archive, time_t from, time_t to) const {
    sRows found;
    const time_t step = archive.stepS;
    time_t start = from / step * step;
    time_t end = to / step * step;
    if (end <= start) return found;
    unsigned long stepS = archive.stepS;
    unsigned long columns = 0;
    char** names = nullptr;
    rrd_value_t* values = nullptr;
    // It answers rows that end after start, up to the one that ends at end, and one more.
    if (rrd_fetch_r(path().c_str(), consolidationName(archive.function), &start, &end, &stepS,
                    &columns, &names, &values) != 0) {
        rrd_clear_error();
        return found;
    }
    if (stepS == archive.stepS) {
        found.stepS = archive.stepS;
        found.first = start + step;
        found.columns = columns;
        const size_t count = static_cast<size_t>((std::min(end, to / step * step) - start) / step);
        found.values.assign(values, values + count * columns);
    }
    for (unsigned long i = 0; i < columns; ++i)
        free(names[i]);
    free(names);
    free(values);
    return found;
}

bool cRrdImage::create(const std::string& path, const sStore& store, time_t begin,
                       const std::string& source, std::string& error) {
    std::vector<std::string> texts;
    for (const eSource one : store.sources)
        texts.push_back(definition(describe(one), store.stepS));
    for (const sArchive& archive : store.archives)
        texts.push_back(definition(archive, store.stepS));
    std::vector<const char*> arguments = pointers(texts);
    const char* sources[] = {source.c_str(), nullptr};
    if (rrd_create_r2(path.c_str(), store.stepS, begin, 0, source.empty() ? nullptr : sources,
                      nullptr, static_cast<int>(arguments.size()), arguments.data()) == 0)
        return true;
    error = takeError();
    return false;
}
