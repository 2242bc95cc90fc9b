#include "cli/status/status_file.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>

#include "platform/include/text_helpers.h"
#include "published/status_values.h"

namespace {

// About 120 lines; no text of the modem has more than 256 bytes.
constexpr size_t FILE_MAX = 64 * 1024;
constexpr size_t KEY_MAX = 64;
constexpr long long TIME_MAX = 1LL << 40;
constexpr const char* KEY_LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";

template <typename tNumber>
std::optional<tNumber> wholeTextAsNumber(const std::string& text) {
    tNumber number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

sStatusFile failed(eStatusFile state, const std::string& defect) {
    return {state, defect, {}};
}

bool hasControlCharacter(const std::string& line) {
    for (const char character : line) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f) return true;
    }
    return false;
}

// CELLMODEM1_KEY=value. Returns "" if it was stored, otherwise what is wrong with it.
std::string storeLine(const std::string& line, const std::string& prefix,
                      std::map<std::string, std::string>& values) {
    const size_t equals = line.find('=');
    if (!startsWith(line, prefix) || equals == std::string::npos)
        return "is not a key of this slot";
    const std::string key = line.substr(prefix.size(), equals - prefix.size());
    if (key.empty() || key.size() > KEY_MAX || key.find_first_not_of(KEY_LETTERS) != key.npos)
        return "has an invalid key";
    if (!values.emplace(key, line.substr(equals + 1)).second) return "repeats a key";
    return "";
}

eStatusFile stateOfErrno(int error) {
    if (error == ENOENT) return eStatusFile::MISSING;
    if (error == EACCES || error == EPERM) return eStatusFile::NOT_PERMITTED;
    return eStatusFile::UNREADABLE;
}

std::string defectOfErrno(int error) {
    if (error == ELOOP) return "is a symbolic link";
    if (error == EISDIR || error == EINVAL) return "is not a regular file";
    return std::string("cannot be read: ") + strerror(error);
}

}  // namespace

std::string sStatusRecord::text(const sStatusKey& key) const {
    const auto found = values.find(key.name);
    return found == values.end() ? std::string() : found->second;
}

bool sStatusRecord::isSet(const sStatusKey& key) const {
    return text(key) == STATUS_YES;
}

std::optional<long long> sStatusRecord::number(const sStatusKey& key) const {
    return wholeTextAsNumber<long long>(text(key));
}

std::optional<double> sStatusRecord::decimal(const sStatusKey& key) const {
    const std::optional<double> number = wholeTextAsNumber<double>(text(key));
    return number && std::isfinite(*number) ? number : std::nullopt;
}

sStatusFile parseStatus(const std::string& text, int slot) {
    if (text.empty()) return failed(eStatusFile::CUT_SHORT, "is empty");
    if (text.size() > FILE_MAX)
        return failed(eStatusFile::DAMAGED, "is too long for a status file");
    const std::string prefix = statusKeyStart(slot) + STATUS_KEY_SEPARATOR;
    sStatusFile file{eStatusFile::GOOD, "", {}};
    std::string last;
    int lineNumber = 0;
    for (size_t start = 0; start < text.size();) {
        const size_t end = text.find('\n', start);
        if (end == std::string::npos) return failed(eStatusFile::CUT_SHORT, "is truncated");
        const std::string line = text.substr(start, end - start);
        start = end + 1;
        ++lineNumber;
        std::string defect;
        if (hasControlCharacter(line)) defect = "contains control characters";
        if (defect.empty() && !startsWith(line, "#"))
            defect = storeLine(line, prefix, file.record.values);
        if (!defect.empty())
            return failed(eStatusFile::DAMAGED,
                          "is damaged: line " + itos(lineNumber) + " " + defect);
        last = line;
    }
    if (!startsWith(last, prefix + LAST_STATUS_KEY.name + "="))
        return failed(eStatusFile::CUT_SHORT, "is truncated");
    const long long written = file.record.number(STATUS_STATS_LAST_UPDATE_E).value_or(-1);
    if (written < 0 || written > TIME_MAX)
        return failed(eStatusFile::DAMAGED,
                      "is damaged: its time of writing is missing or invalid");
    return file;
}

sStatusFile readStatusFile(const sPlaces& places, int slot) {
    std::string text;
    if (!readFile2StringNoFollow(places.at(statusFilePath(slot)), text, FILE_MAX + 1)) {
        const int error = errno;
        return failed(stateOfErrno(error), defectOfErrno(error));
    }
    return parseStatus(text, slot);
}
