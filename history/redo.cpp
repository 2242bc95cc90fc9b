#include "history/redo.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

#include "history/history_paths.h"
#include "history/words.h"
#include "platform/files/file_descriptor.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr const char* FIRST_LINE = "cellslot-history redo 1\n";
constexpr const char* BLOCK = "block";
constexpr const char* TAIL = "tail";
constexpr mode_t FILE_MODE = 0644;
constexpr uint64_t OFFSET_MAX = 16 * 1024 * 1024;

// FNV-1a: finds what a power cut leaves, not what an attacker writes.
uint64_t checksum(const std::string& text) {
    uint64_t hash = 14695981039346656037ULL;
    for (const char character : text)
        hash = (hash ^ static_cast<unsigned char>(character)) * 1099511628211ULL;
    return hash;
}

bool writeAll(int file, const std::string& bytes, uint64_t offset) {
    for (size_t done = 0; done < bytes.size();) {
        const ssize_t count = pwrite(file, bytes.data() + done, bytes.size() - done,
                                     static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        done += static_cast<size_t>(count);
    }
    return true;
}

bool failed(std::string& error, const std::string& what) {
    error = what + ": " + strerror(errno);
    return false;
}

bool syncFolder(const sPlaces& places, std::string& error) {
    const cFileDescriptor folder(
        open(places.at(HISTORY_FOLDER).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.isOpen() && fsync(folder.get()) == 0) return true;
    return failed(error, std::string("cannot write ") + HISTORY_FOLDER);
}

bool doStep(const sPlaces& places, const cRedo::sStep& step, std::string& error) {
    const std::string path = historyPath(places, step.name);
    // Blocks change a file that is there; without it, the rest would be no RRD.
    const int flags = step.kind == cRedo::sStep::eKind::TAIL ? O_CREAT : 0;
    const cFileDescriptor file(
        open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC | flags, FILE_MODE));
    if (!file.isOpen() && errno == ENOENT) return true;
    if (!file.isOpen() || !writeAll(file.get(), step.bytes, step.offset))
        return failed(error, "cannot write " + path);
    const off_t end = static_cast<off_t>(step.offset + step.bytes.size());
    if (step.kind == cRedo::sStep::eKind::TAIL && ftruncate(file.get(), end) != 0)
        return failed(error, "cannot write " + path);
    return true;
}

bool syncFiles(const sPlaces& places, const cRedo& redo, std::string& error) {
    std::set<std::string> names;
    for (const cRedo::sStep& step : redo.steps())
        names.insert(step.name);
    for (const std::string& name : names) {
        const std::string path = historyPath(places, name);
        const cFileDescriptor file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
        if (!file.isOpen() && errno == ENOENT) continue;
        if (!file.isOpen() || fsync(file.get()) != 0) return failed(error, "cannot write " + path);
    }
    return true;
}

bool finish(const sPlaces& places, int slot, const cRedo& redo, std::string& error) {
    for (const cRedo::sStep& step : redo.steps())
        if (!doStep(places, step, error)) return false;
    if (!syncFiles(places, redo, error)) return false;
    const std::string path = historyPath(places, redoName(slot));
    if (unlink(path.c_str()) != 0) return failed(error, "cannot remove " + path);
    return syncFolder(places, error);
}

bool putRedoFile(const sPlaces& places, int slot, const std::string& text, std::string& error) {
    const std::string path = historyPath(places, redoName(slot));
    const std::string draft = path + ".new";
    const cFileDescriptor file(
        open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, FILE_MODE));
    if (!file.isOpen() || !writeAll(file.get(), text, 0) || fsync(file.get()) != 0 ||
        rename(draft.c_str(), path.c_str()) != 0) {
        failed(error, "cannot write " + path);
        unlink(draft.c_str());
        return false;
    }
    return syncFolder(places, error);
}

}  // namespace

size_t cRedo::size() const {
    size_t bytes = 0;
    for (const sStep& step : m_steps)
        bytes += step.bytes.size();
    return bytes;
}

std::string cRedo::text() const {
    std::string text = FIRST_LINE;
    for (const sStep& step : m_steps) {
        text += step.kind == sStep::eKind::BLOCK ? BLOCK : TAIL;
        text += " " + step.name + " " + std::to_string(step.offset) + " " +
                std::to_string(step.bytes.size()) + "\n" + step.bytes;
    }
    return text + "end " + std::to_string(checksum(text)) + "\n";
}

bool cRedo::parse(const std::string& text, int slot) {
    m_steps.clear();
    const std::vector<std::string> names = historyNames(slot);
    if (!startsWith(text, FIRST_LINE)) return false;
    for (size_t at = strlen(FIRST_LINE); at < text.size();) {
        const size_t lineEnd = text.find('\n', at);
        if (lineEnd == text.npos) return false;
        const std::vector<std::string> words = wordsOf(text.substr(at, lineEnd - at));
        if (words.size() == 2 && words[0] == "end")
            return lineEnd + 1 == text.size() &&
                   numberOf<uint64_t>(words[1]) == checksum(text.substr(0, at));
        if (words.size() != 4 || (words[0] != BLOCK && words[0] != TAIL)) return false;
        const auto offset = numberOf<uint64_t>(words[2]);
        const auto size = numberOf<uint64_t>(words[3]);
        const bool isOurs = std::find(names.begin(), names.end(), words[1]) != names.end();
        if (!isOurs || !offset || *offset > OFFSET_MAX || !size ||
            *size > text.size() - lineEnd - 1)
            return false;
        const auto kind = words[0] == BLOCK ? sStep::eKind::BLOCK : sStep::eKind::TAIL;
        m_steps.push_back({kind, words[1], *offset, text.substr(lineEnd + 1, *size)});
        at = lineEnd + 1 + *size;
    }
    return false;
}

bool commitRedo(const sPlaces& places, int slot, const cRedo& redo, std::string& error) {
    return putRedoFile(places, slot, redo.text(), error) && finish(places, slot, redo, error);
}

bool recoverRedo(const sPlaces& places, int slot, std::string& error) {
    const std::string path = historyPath(places, redoName(slot));
    unlink((path + ".new").c_str());
    std::string text;
    if (!readFile2StringNoFollow(path, text, REDO_BYTES_MAX)) {
        if (errno == ENOENT) return true;
        // Not a file, so not ours.
        if (errno != EISDIR && errno != EINVAL && errno != ELOOP)
            return failed(error, "cannot read " + path);
        if (rename(path.c_str(), (path + ".damaged").c_str()) != 0)
            return failed(error, "cannot rename " + path);
        return true;
    }
    cRedo redo;
    if (redo.parse(text, slot)) return finish(places, slot, redo, error);
    unlink(path.c_str());
    return syncFolder(places, error);
}
